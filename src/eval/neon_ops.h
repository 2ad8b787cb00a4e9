#pragma once
// Lane operations on 16-byte ARMv8 NEON vectors, shared by the two NEON forms, which differ
// only in their multiply-add. Included only by those two files. A vector is held as 16
// signed bytes and seen as eight 16-bit or four 32-bit lanes where an operation needs it.
#include "eval/vector_kernels.h"

namespace {

struct NeonOps {
  using Vec = int8x16_t;
  static constexpr int BYTES = 16;

  static Vec load(const void* p) { return vld1q_s8(static_cast<const int8_t*>(p)); }
  static void store(void* p, Vec v) { vst1q_s8(static_cast<int8_t*>(p), v); }
  static Vec zero() { return vdupq_n_s8(0); }
  static Vec add16(Vec a, Vec b) {
    return vreinterpretq_s8_s16(vaddq_s16(vreinterpretq_s16_s8(a), vreinterpretq_s16_s8(b)));
  }
  static Vec sub16(Vec a, Vec b) {
    return vreinterpretq_s8_s16(vsubq_s16(vreinterpretq_s16_s8(a), vreinterpretq_s16_s8(b)));
  }
  static Vec add32(Vec a, Vec b) {
    return vreinterpretq_s8_s32(vaddq_s32(vreinterpretq_s32_s8(a), vreinterpretq_s32_s8(b)));
  }
  static Vec broadcast4(const uint8_t* p) {
    int32_t v;
    __builtin_memcpy(&v, p, 4);
    return vreinterpretq_s8_s32(vdupq_n_s32(v));
  }
  // Sixteen lanes: shift by 1, saturating narrow to 8 bits (the clip at 127), floor at 0.
  static Vec activate(const int16_t* acc) {
    const int16x8_t a = vshrq_n_s16(vld1q_s16(acc), 1), b = vshrq_n_s16(vld1q_s16(acc + 8), 1);
    return vmaxq_s8(vcombine_s8(vqmovn_s16(a), vqmovn_s16(b)), zero());
  }
  // Eight registers of four sums: shift by 3, saturate to 16 then 8 bits, floor at 0.
  static void clip_sums(const Vec* s, uint8_t* out) {
    for (int half = 0; half < 2; ++half, s += 4) {
      int16x8_t narrow[2];
      for (int k = 0; k < 2; ++k)
        narrow[k] = vcombine_s16(vqshrn_n_s32(vreinterpretq_s32_s8(s[2 * k]), 3),
                                 vqshrn_n_s32(vreinterpretq_s32_s8(s[2 * k + 1]), 3));
      store(out + 16 * half, vmaxq_s8(vcombine_s8(vqmovn_s16(narrow[0]), vqmovn_s16(narrow[1])), zero()));
    }
  }
};

}  // namespace

namespace vector_kernels {
namespace {

// The output layer: 32 activations (at most 127, so they read as signed bytes) times 32
// weights, the products widened to 16 bits and added in pairs into 32.
inline int32_t output_sum(const uint8_t* z, const int8_t* w4) {
  int32x4_t sum = vdupq_n_s32(0);
  for (int half = 0; half < 2; ++half) {
    const int8x16_t x = vld1q_s8(reinterpret_cast<const int8_t*>(z) + 16 * half), w = vld1q_s8(w4 + 16 * half);
    sum = vpadalq_s16(sum, vmull_s8(vget_low_s8(x), vget_low_s8(w)));
    sum = vpadalq_s16(sum, vmull_high_s8(x, w));
  }
  return vaddvq_s32(sum);
}

}  // namespace
}  // namespace vector_kernels
