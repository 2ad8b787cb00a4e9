#pragma once
// The evaluation's hot loops written once over a vector width. Each instruction-set
// file defines its lane operations (a struct of static functions, see form_avx2.cpp)
// in an unnamed namespace and instantiates these templates with them, so every
// instantiation is private to the file that was compiled for that instruction set.
//
// Every step is exact: unsigned activations of at most 127 times signed 8-bit weights
// never saturate the 16-bit pairs of the multiply-add, so each form equals the plain one.
#ifdef __aarch64__
#include <arm_neon.h>
#else
#include <immintrin.h>
#endif

#include "eval/eval_forms.h"

// Private to each including file: every file compiles these for its own instruction set.
namespace vector_kernels {
namespace {

// REGS registers of lanes per pass over the accumulator: the lanes stay in registers
// while every row of the batch is added or subtracted, each row read straight from memory.
template <class Ops, int REGS>
inline void apply_rows(int16_t* acc, const int16_t* source, const RowBatch& batch) {
  using Vec = typename Ops::Vec;
  constexpr int LANES = Ops::BYTES / 2;
  static_assert(L1_SIZE % (REGS * LANES) == 0);
  for (int base = 0; base < L1_SIZE; base += REGS * LANES) {
    Vec r[REGS];
#pragma GCC unroll 16
    for (int k = 0; k < REGS; ++k) r[k] = Ops::load(source + base + k * LANES);
    for (int n = 0; n < batch.added_count; ++n) {
      const int16_t* row = batch.added[n] + base;
#pragma GCC unroll 16
      for (int k = 0; k < REGS; ++k) r[k] = Ops::add16(r[k], Ops::load(row + k * LANES));
    }
    for (int n = 0; n < batch.removed_count; ++n) {
      const int16_t* row = batch.removed[n] + base;
#pragma GCC unroll 16
      for (int k = 0; k < REGS; ++k) r[k] = Ops::sub16(r[k], Ops::load(row + k * LANES));
    }
#pragma GCC unroll 16
    for (int k = 0; k < REGS; ++k) Ops::store(acc + base + k * LANES, r[k]);
  }
}

// One layer over input-major weights: for each group of four inputs, broadcast them and
// multiply-add into all OUTPUTS sums at once. SETS independent sets of sums shorten the
// chains of dependent additions; they are added together at the end.
template <class Ops, int INPUTS, int OUTPUTS>
inline void layer_sums(const uint8_t* input, const int8_t* weights, const int32_t* biases,
                       typename Ops::Vec (&sums)[OUTPUTS * 4 / Ops::BYTES]) {
  using Vec = typename Ops::Vec;
  constexpr int R = OUTPUTS * 4 / Ops::BYTES;  // registers of 32-bit sums
  constexpr int SETS = Ops::SUM_SETS;
  static_assert((INPUTS / INPUT_GROUP) % SETS == 0);
  Vec s[SETS][R];
#pragma GCC unroll 16
  for (int k = 0; k < R; ++k) {
    s[0][k] = Ops::load(biases + k * (Ops::BYTES / 4));
    for (int set = 1; set < SETS; ++set) s[set][k] = Ops::zero();
  }
  for (int g = 0; g < INPUTS / INPUT_GROUP; g += SETS) {
#pragma GCC unroll 8
    for (int set = 0; set < SETS; ++set) {
      const Vec x = Ops::broadcast4(input + (g + set) * INPUT_GROUP);
      const int8_t* w = weights + (g + set) * OUTPUTS * INPUT_GROUP;
#pragma GCC unroll 16
      for (int k = 0; k < R; ++k) s[set][k] = Ops::dot_add(s[set][k], x, Ops::load(w + k * Ops::BYTES));
    }
  }
#pragma GCC unroll 16
  for (int k = 0; k < R; ++k) {
    for (int set = 1; set < SETS; ++set) s[0][k] = Ops::add32(s[0][k], s[set][k]);
    sums[k] = s[0][k];
  }
}

#ifndef __aarch64__
// Shift 32 sums right by 3, saturate to 8 bits and floor at 0: 32 activations in order,
// from eight registers of four sums.
inline void clip_sums_128(const __m128i* s, uint8_t* out) {
  for (int half = 0; half < 2; ++half, s += 4) {
    const __m128i lo = _mm_packs_epi32(_mm_srai_epi32(s[0], 3), _mm_srai_epi32(s[1], 3));
    const __m128i hi = _mm_packs_epi32(_mm_srai_epi32(s[2], 3), _mm_srai_epi32(s[3], 3));
    _mm_store_si128(reinterpret_cast<__m128i*>(out + 16 * half),
                    _mm_max_epi8(_mm_packs_epi16(lo, hi), _mm_setzero_si128()));
  }
}

// The output layer: 32 activations times 32 weights, in 16-byte steps.
inline int32_t output_sum(const uint8_t* z, const int8_t* w4) {
  const __m128i ones = _mm_set1_epi16(1);
  __m128i lo = _mm_madd_epi16(_mm_maddubs_epi16(_mm_load_si128(reinterpret_cast<const __m128i*>(z)),
                                                _mm_load_si128(reinterpret_cast<const __m128i*>(w4))), ones);
  __m128i hi = _mm_madd_epi16(_mm_maddubs_epi16(_mm_load_si128(reinterpret_cast<const __m128i*>(z + 16)),
                                                _mm_load_si128(reinterpret_cast<const __m128i*>(w4 + 16))), ones);
  __m128i s = _mm_add_epi32(lo, hi);
  s = _mm_add_epi32(s, _mm_shuffle_epi32(s, 0x4E));
  s = _mm_add_epi32(s, _mm_shuffle_epi32(s, 0xB1));
  return _mm_cvtsi128_si32(s);
}

#else
// The output layer of the NEON forms, in eval/neon_ops.h.
inline int32_t output_sum(const uint8_t* z, const int8_t* w4);
#endif

template <class Ops>
inline int32_t forward_pass(const int16_t* acc_own, const int16_t* acc_other, const ForwardWeights& w) {
  using Vec = typename Ops::Vec;
  // Layer 1 output: shift by 1, saturate to 8 bits, floor at 0; the side to move first.
  alignas(64) uint8_t x[L2_INPUTS];
  for (int c = 0; c < L1_SIZE; c += Ops::BYTES) {
    Ops::store(x + c, Ops::activate(acc_own + c));
    Ops::store(x + L1_SIZE + c, Ops::activate(acc_other + c));
  }
  alignas(64) uint8_t y[L2_SIZE];
  alignas(64) uint8_t z[L3_SIZE];
  Vec sums[L2_SIZE * 4 / Ops::BYTES];
  layer_sums<Ops, L2_INPUTS, L2_SIZE>(x, w.l2_input_major, w.l2_biases, sums);
  Ops::clip_sums(sums, y);
  layer_sums<Ops, L2_SIZE, L3_SIZE>(y, w.l3_input_major, w.l3_biases, sums);
  Ops::clip_sums(sums, z);
  return (w.l4_bias + output_sum(z, w.l4_weights)) / 32;
}

}  // namespace
}  // namespace vector_kernels

// The two entry points of a form, from its lane operations and its registers of lanes per pass.
#define TESMAR_DEFINE_VECTOR_FORM(NAME, OPS, REGS)                                                   \
  namespace NAME {                                                                                  \
  void apply_rows(int16_t* acc, const int16_t* source, const RowBatch& batch) {                     \
    vector_kernels::apply_rows<OPS, REGS>(acc, source, batch);                                      \
  }                                                                                                 \
  int32_t forward_pass(const int16_t* acc_own, const int16_t* acc_other, const ForwardWeights& w) { \
    return vector_kernels::forward_pass<OPS>(acc_own, acc_other, w);                                \
  }                                                                                                 \
  }
