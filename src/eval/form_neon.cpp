// The evaluation's hot loops in 16-byte ARMv8 NEON vectors, for any 64-bit ARM processor:
// the multiply-add widens the products to 16 bits and adds them in pairs.
#include "eval/neon_ops.h"

namespace {

struct Ops : NeonOps {
  static constexpr int SUM_SETS = 1;  // eight registers of sums are enough to overlap
  // Sixteen products of at most 127 x 128 in magnitude: a pair of them fits 16 bits, and
  // the pairwise add-and-widen puts each group of four in its 32-bit lane.
  static Vec dot_add(Vec sum, Vec x, Vec w) {
    const int16x8_t pairs = vpaddq_s16(vmull_s8(vget_low_s8(x), vget_low_s8(w)), vmull_high_s8(x, w));
    return vreinterpretq_s8_s32(vpadalq_s16(vreinterpretq_s32_s8(sum), pairs));
  }
};

}  // namespace

// Sixteen registers of eight lanes: two passes over the accumulator.
TESMAR_DEFINE_VECTOR_FORM(neon_form, Ops, 16)
