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

namespace avx512_vnni_form {

void apply_rows(int16_t* acc, const int16_t* source, const RowBatch& batch) {
  vector_kernels::apply_rows<Ops, 8>(acc, source, batch);
}

int32_t forward_pass(const int16_t* acc_own, const int16_t* acc_other, const ForwardWeights& w) {
  return vector_kernels::forward_pass<Ops>(acc_own, acc_other, w);
}

}  // namespace avx512_vnni_form
