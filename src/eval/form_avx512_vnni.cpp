// The evaluation's hot loops in 64-byte vectors with AVX-512 VNNI: one instruction per
// multiply-add of four 8-bit products into 32 bits.
#include "eval/avx512_ops.h"

namespace {

struct Ops : Avx512Ops {
  // The dot product's latency is several cycles: four independent sets of sums keep it busy.
  static constexpr int SUM_SETS = 4;
  static Vec dot_add(Vec sum, Vec x, Vec w) { return _mm512_dpbusd_epi32(sum, x, w); }
};

}  // namespace

// Eight registers of 32 lanes: the whole accumulator in one pass.
TESMAR_DEFINE_VECTOR_FORM(avx512_vnni_form, Ops, 8)
