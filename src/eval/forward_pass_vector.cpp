// The forward pass in vectors: 16-byte SSSE3/SSE4.1 code at the minimum level,
// with wider first two layers where the build targets AVX2 or AVX-512.
// Every step is exact: unsigned activations of at most 127 times signed 8-bit
// weights never saturate the 16-bit pairs, so this equals the plain form.
// GCC 12 warns falsely inside its own AVX-512 headers (the undefined upper halves of casts).
#pragma GCC diagnostic ignored "-Wuninitialized"
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#include <immintrin.h>

#include "eval/forward_pass.h"
#include "eval/network.h"

namespace {

// Sums of each of four vectors, in one vector.
inline __m128i sum4(__m128i a, __m128i b, __m128i c, __m128i d) {
  return _mm_hadd_epi32(_mm_hadd_epi32(a, b), _mm_hadd_epi32(c, d));
}

// Shift by 3 and clip to 0..127, sixteen 32-bit sums at once, into sixteen bytes.
inline __m128i clip_sums(const int32_t* sums) {
  const __m128i* s = reinterpret_cast<const __m128i*>(sums);
  __m128i lo = _mm_packs_epi32(_mm_srai_epi32(_mm_load_si128(s), 3), _mm_srai_epi32(_mm_load_si128(s + 1), 3));
  __m128i hi = _mm_packs_epi32(_mm_srai_epi32(_mm_load_si128(s + 2), 3), _mm_srai_epi32(_mm_load_si128(s + 3), 3));
  return _mm_max_epi8(_mm_packs_epi16(lo, hi), _mm_setzero_si128());
}

// 16 unsigned activations times 16 signed weights, summed into four 32-bit lanes.
inline __m128i dot16(__m128i x, __m128i w) {
#if defined(__AVX512VNNI__) && defined(__AVX512VL__)
  return _mm_dpbusd_epi32(_mm_setzero_si128(), x, w);
#else
  return _mm_madd_epi16(_mm_maddubs_epi16(x, w), _mm_set1_epi16(1));
#endif
}

#if defined(__AVX512BW__)
constexpr int CHUNK = 64;
using Wide = __m512i;
inline Wide load_wide(const void* p) { return _mm512_load_si512(p); }
inline Wide activate_pair(const int16_t* acc) {
  Wide a = _mm512_srai_epi16(_mm512_load_si512(acc), 1);
  Wide b = _mm512_srai_epi16(_mm512_load_si512(acc + 32), 1);
  Wide packed = _mm512_packs_epi16(a, b);  // interleaves 8-byte groups of a and b per 128-bit lane
  packed = _mm512_permutexvar_epi64(_mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7), packed);
  return _mm512_max_epi8(packed, _mm512_setzero_si512());
}
inline Wide dot_wide(Wide sum, Wide x, Wide w) {
#if defined(__AVX512VNNI__)
  return _mm512_dpbusd_epi32(sum, x, w);
#else
  return _mm512_add_epi32(sum, _mm512_madd_epi16(_mm512_maddubs_epi16(x, w), _mm512_set1_epi16(1)));
#endif
}
inline Wide zero_wide() { return _mm512_setzero_si512(); }
inline __m128i narrow(Wide v) {
  __m256i h = _mm256_add_epi32(_mm512_castsi512_si256(v), _mm512_extracti64x4_epi64(v, 1));
  return _mm_add_epi32(_mm256_castsi256_si128(h), _mm256_extracti128_si256(h, 1));
}
#elif defined(__AVX2__)
constexpr int CHUNK = 32;
using Wide = __m256i;
inline Wide load_wide(const void* p) { return _mm256_load_si256(static_cast<const Wide*>(p)); }
inline Wide activate_pair(const int16_t* acc) {
  Wide a = _mm256_srai_epi16(load_wide(acc), 1);
  Wide b = _mm256_srai_epi16(load_wide(acc + 16), 1);
  Wide packed = _mm256_permute4x64_epi64(_mm256_packs_epi16(a, b), 0xD8);
  return _mm256_max_epi8(packed, _mm256_setzero_si256());
}
inline Wide dot_wide(Wide sum, Wide x, Wide w) {
  return _mm256_add_epi32(sum, _mm256_madd_epi16(_mm256_maddubs_epi16(x, w), _mm256_set1_epi16(1)));
}
inline Wide zero_wide() { return _mm256_setzero_si256(); }
inline __m128i narrow(Wide v) { return _mm_add_epi32(_mm256_castsi256_si128(v), _mm256_extracti128_si256(v, 1)); }
#else
constexpr int CHUNK = 16;
using Wide = __m128i;
inline Wide load_wide(const void* p) { return _mm_load_si128(static_cast<const Wide*>(p)); }
inline Wide activate_pair(const int16_t* acc) {
  Wide a = _mm_srai_epi16(load_wide(acc), 1);
  Wide b = _mm_srai_epi16(load_wide(acc + 8), 1);
  return _mm_max_epi8(_mm_packs_epi16(a, b), _mm_setzero_si128());
}
inline Wide dot_wide(Wide sum, Wide x, Wide w) { return _mm_add_epi32(sum, dot16(x, w)); }
inline Wide zero_wide() { return _mm_setzero_si128(); }
inline __m128i narrow(Wide v) { return v; }
#endif

constexpr int L1_CHUNKS = 2 * L1_SIZE / CHUNK;
// Outputs of layer 2 computed together: as many as the registers hold beside the activations.
constexpr int GROUP = CHUNK == 16 ? 4 : 8;

}  // namespace

int32_t forward_pass(const int16_t* acc_own, const int16_t* acc_other) {
  // Layer 1 output: shift, saturate to 8 bits, floor at 0.
  alignas(64) Wide x[L1_CHUNKS];
  for (int c = 0; c < L1_CHUNKS / 2; ++c) {
    x[c] = activate_pair(acc_own + c * CHUNK);
    x[L1_CHUNKS / 2 + c] = activate_pair(acc_other + c * CHUNK);
  }

  // Layer 2: 32 outputs of 512 products each, a group of outputs at a time so that
  // the multiply-adds of different outputs overlap.
  alignas(64) int32_t sums[L2_SIZE];
  const int32_t* b2 = network_l2_biases();
  for (int j = 0; j < L2_SIZE; j += GROUP) {
    Wide s[GROUP];
    for (int k = 0; k < GROUP; ++k) s[k] = zero_wide();
    for (int c = 0; c < L1_CHUNKS; ++c)
      for (int k = 0; k < GROUP; ++k) s[k] = dot_wide(s[k], x[c], load_wide(network_weights.l2_weights[j + k] + c * CHUNK));
    for (int k = 0; k < GROUP; k += 4) {
      __m128i total = sum4(narrow(s[k]), narrow(s[k + 1]), narrow(s[k + 2]), narrow(s[k + 3]));
      total = _mm_add_epi32(total, _mm_loadu_si128(reinterpret_cast<const __m128i*>(b2 + j + k)));
      _mm_store_si128(reinterpret_cast<__m128i*>(sums + j + k), total);
    }
  }
  const __m128i y0 = clip_sums(sums), y1 = clip_sums(sums + 16);

  // Layer 3: 32 outputs of two 16-byte products each.
  const int32_t* b3 = network_l3_biases();
  const auto* w3 = reinterpret_cast<const __m128i*>(network_weights.l3_weights);
  for (int j = 0; j < L3_SIZE; j += 4) {
    __m128i p[4];
    for (int k = 0; k < 4; ++k)
      p[k] = _mm_add_epi32(dot16(y0, _mm_load_si128(w3 + 2 * (j + k))), dot16(y1, _mm_load_si128(w3 + 2 * (j + k) + 1)));
    __m128i total = _mm_add_epi32(sum4(p[0], p[1], p[2], p[3]), _mm_loadu_si128(reinterpret_cast<const __m128i*>(b3 + j)));
    _mm_store_si128(reinterpret_cast<__m128i*>(sums + j), total);
  }
  const __m128i z0 = clip_sums(sums), z1 = clip_sums(sums + 16);

  // Output layer.
  const auto* w4 = reinterpret_cast<const __m128i*>(network_weights.l4_weights);
  __m128i out = _mm_add_epi32(dot16(z0, _mm_load_si128(w4)), dot16(z1, _mm_load_si128(w4 + 1)));
  out = _mm_hadd_epi32(out, out);
  out = _mm_hadd_epi32(out, out);
  return (network_l4_bias() + _mm_cvtsi128_si32(out)) / 32;
}
