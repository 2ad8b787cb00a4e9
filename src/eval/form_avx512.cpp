// The evaluation's hot loops in 64-byte vectors (AVX-512 BW without the 8-bit dot
// product): the whole accumulator of a view in eight registers.
#include "eval/avx512_ops.h"

namespace {

struct Ops : Avx512Ops {
  static constexpr int SUM_SETS = 2;
  static Vec dot_add(Vec sum, Vec x, Vec w) {
    return _mm512_add_epi32(sum, _mm512_madd_epi16(_mm512_maddubs_epi16(x, w), _mm512_set1_epi16(1)));
  }
};

}  // namespace

// Eight registers of 32 lanes: the whole accumulator in one pass.
TESMAR_DEFINE_VECTOR_FORM(avx512_form, Ops, 8)
