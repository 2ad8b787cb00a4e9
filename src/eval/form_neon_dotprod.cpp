// The evaluation's hot loops in 16-byte ARMv8 NEON vectors with the 8-bit dot product
// (ARMv8.2 DotProd: Apple M1 on, Cortex-A55/A76 on, Graviton 2 on): one instruction per
// multiply-add of four products into 32 bits.
#include "eval/neon_ops.h"

namespace {

struct Ops : NeonOps {
  // Two independent sets of sums hide the dot product's latency; the registers allow it.
  static constexpr int SUM_SETS = 2;
  // Signed by signed: the activations are at most 127, so they read the same as signed bytes.
  static Vec dot_add(Vec sum, Vec x, Vec w) {
    return vreinterpretq_s8_s32(vdotq_s32(vreinterpretq_s32_s8(sum), x, w));
  }
};

}  // namespace

// Sixteen registers of eight lanes: two passes over the accumulator.
TESMAR_DEFINE_VECTOR_FORM(neon_dotprod_form, Ops, 16)
