#pragma once
// Lane operations on 64-byte vectors (AVX-512 BW), shared by the two AVX-512 forms,
// which differ only in their multiply-add. Included only by those two files.
// GCC 12 warns falsely inside its own AVX-512 headers (the undefined upper halves of casts).
#pragma GCC diagnostic ignored "-Wuninitialized"
#ifndef __clang__
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#endif
#include "eval/vector_kernels.h"

namespace {

struct Avx512Ops {
  using Vec = __m512i;
  static constexpr int BYTES = 64;

  static Vec load(const void* p) { return _mm512_loadu_si512(p); }
  static void store(void* p, Vec v) { _mm512_storeu_si512(p, v); }
  static Vec zero() { return _mm512_setzero_si512(); }
  static Vec add16(Vec a, Vec b) { return _mm512_add_epi16(a, b); }
  static Vec sub16(Vec a, Vec b) { return _mm512_sub_epi16(a, b); }
  static Vec add32(Vec a, Vec b) { return _mm512_add_epi32(a, b); }
  static Vec broadcast4(const uint8_t* p) {
    int32_t v;
    __builtin_memcpy(&v, p, 4);
    return _mm512_set1_epi32(v);
  }
  // 64 lanes; the pack interleaves 8-byte groups of the two inputs per 128-bit lane.
  static Vec activate(const int16_t* acc) {
    const Vec a = _mm512_srai_epi16(load(acc), 1), b = _mm512_srai_epi16(load(acc + 32), 1);
    const Vec packed = _mm512_permutexvar_epi64(_mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7), _mm512_packs_epi16(a, b));
    return _mm512_max_epi8(packed, _mm512_setzero_si512());
  }
  // Two registers of sixteen sums, each saturated straight to sixteen bytes in order.
  static void clip_sums(const Vec* s, uint8_t* out) {
    for (int k = 0; k < 2; ++k) {
      const __m128i bytes = _mm512_cvtsepi32_epi8(_mm512_srai_epi32(s[k], 3));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 16 * k), _mm_max_epi8(bytes, _mm_setzero_si128()));
    }
  }
};

}  // namespace
