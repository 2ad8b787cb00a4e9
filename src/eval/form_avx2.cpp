// The evaluation's hot loops in 32-byte vectors (AVX2): half of the accumulator's lanes
// in eight registers per pass, the layer sums in four.
#include "eval/vector_kernels.h"

namespace {

struct Ops {
  using Vec = __m256i;
  static constexpr int BYTES = 32;
  static constexpr int SUM_SETS = 2;

  static Vec load(const void* p) { return _mm256_loadu_si256(static_cast<const Vec*>(p)); }
  static void store(void* p, Vec v) { _mm256_storeu_si256(static_cast<Vec*>(p), v); }
  static Vec zero() { return _mm256_setzero_si256(); }
  static Vec add16(Vec a, Vec b) { return _mm256_add_epi16(a, b); }
  static Vec sub16(Vec a, Vec b) { return _mm256_sub_epi16(a, b); }
  static Vec add32(Vec a, Vec b) { return _mm256_add_epi32(a, b); }
  static Vec broadcast4(const uint8_t* p) {
    int32_t v;
    __builtin_memcpy(&v, p, 4);
    return _mm256_set1_epi32(v);
  }
  static Vec dot_add(Vec sum, Vec x, Vec w) {
    return _mm256_add_epi32(sum, _mm256_madd_epi16(_mm256_maddubs_epi16(x, w), _mm256_set1_epi16(1)));
  }
  // 32 lanes; the pack interleaves the two 128-bit halves, the permutation puts them back in order.
  static Vec activate(const int16_t* acc) {
    const Vec a = _mm256_srai_epi16(load(acc), 1), b = _mm256_srai_epi16(load(acc + 16), 1);
    const Vec packed = _mm256_permute4x64_epi64(_mm256_packs_epi16(a, b), 0xD8);
    return _mm256_max_epi8(packed, _mm256_setzero_si256());
  }
  // Four registers of eight sums: the packs leave groups of four outputs in the order
  // 0, 2, 4, 6, 1, 3, 5, 7, which one permutation of 32-bit groups undoes.
  static void clip_sums(const Vec* s, uint8_t* out) {
    const Vec p01 = _mm256_packs_epi32(_mm256_srai_epi32(s[0], 3), _mm256_srai_epi32(s[1], 3));
    const Vec p23 = _mm256_packs_epi32(_mm256_srai_epi32(s[2], 3), _mm256_srai_epi32(s[3], 3));
    const Vec bytes = _mm256_permutevar8x32_epi32(_mm256_packs_epi16(p01, p23), _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
    store(out, _mm256_max_epi8(bytes, _mm256_setzero_si256()));
  }
};

}  // namespace

namespace avx2_form {

void apply_rows(int16_t* acc, const int16_t* source, const RowBatch& batch) {
  vector_kernels::apply_rows<Ops, 16>(acc, source, batch);
}

int32_t forward_pass(const int16_t* acc_own, const int16_t* acc_other, const ForwardWeights& w) {
  return vector_kernels::forward_pass<Ops>(acc_own, acc_other, w);
}

}  // namespace avx2_form
