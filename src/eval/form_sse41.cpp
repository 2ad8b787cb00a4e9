// The evaluation's hot loops in 16-byte vectors (SSSE3 and SSE4.1): the portable build's
// form, for any 64-bit x86 the engine supports.
#include "eval/vector_kernels.h"

namespace {

struct Ops {
  using Vec = __m128i;
  static constexpr int BYTES = 16;
  static constexpr int SUM_SETS = 1;  // eight registers of sums are enough to overlap

  // Aligned, so that the adds can take their rows straight from memory.
  static Vec load(const void* p) { return _mm_load_si128(static_cast<const Vec*>(p)); }
  static void store(void* p, Vec v) { _mm_store_si128(static_cast<Vec*>(p), v); }
  static Vec zero() { return _mm_setzero_si128(); }
  static Vec add16(Vec a, Vec b) { return _mm_add_epi16(a, b); }
  static Vec sub16(Vec a, Vec b) { return _mm_sub_epi16(a, b); }
  static Vec add32(Vec a, Vec b) { return _mm_add_epi32(a, b); }
  static Vec broadcast4(const uint8_t* p) {
    int32_t v;
    __builtin_memcpy(&v, p, 4);
    return _mm_set1_epi32(v);
  }
  // Pairs of unsigned-by-signed products into 16 bits, then pairs of those into 32.
  static Vec dot_add(Vec sum, Vec x, Vec w) {
    return _mm_add_epi32(sum, _mm_madd_epi16(_mm_maddubs_epi16(x, w), _mm_set1_epi16(1)));
  }
  // Sixteen lanes: shift by 1, saturating pack to 8 bits (the clip at 127), floor at 0.
  static Vec activate(const int16_t* acc) {
    const Vec a = _mm_srai_epi16(load(acc), 1), b = _mm_srai_epi16(load(acc + 8), 1);
    return _mm_max_epi8(_mm_packs_epi16(a, b), _mm_setzero_si128());
  }
  static void clip_sums(const Vec* sums, uint8_t* out) { vector_kernels::clip_sums_128(sums, out); }
};

}  // namespace

namespace sse41_form {

void apply_rows(int16_t* acc, const int16_t* source, const RowBatch& batch) {
  vector_kernels::apply_rows<Ops, 16>(acc, source, batch);
}

int32_t forward_pass(const int16_t* acc_own, const int16_t* acc_other, const ForwardWeights& w) {
  return vector_kernels::forward_pass<Ops>(acc_own, acc_other, w);
}

}  // namespace sse41_form
