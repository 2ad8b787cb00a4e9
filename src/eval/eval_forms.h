#pragma once
// One interface over the instruction-set forms of the evaluation's two hot loops:
// adding and subtracting first-layer rows, and layers 2 to 4 of the network.
//
// Each form lives in its own file, compiled for its own instruction set whatever the
// build targets, so that the tests can hold every form the processor runs against the
// plain integer form. The engine calls the form of the processor it was built for, or,
// in the portable build, the widest form the processor it runs on has (engine_eval_form).
//
// The form files include only this header and the intrinsics: anything inline they
// took from elsewhere could be emitted with instructions the processor lacks and
// picked by the linker for the rest of the program.
#include <cstdint>

#include "eval/network_shape.h"

// Rows gathered for one pass over the lanes, so that each block of lanes stays in
// registers while all rows are added and subtracted.
struct RowBatch {
  static constexpr int CAPACITY = 40;
  const int16_t* added[CAPACITY];
  const int16_t* removed[CAPACITY];
  int added_count;
  int removed_count;
};

// What layers 2 to 4 read. The input-major copies hold, for each group of INPUT_GROUP
// consecutive inputs, the weights of every output for those inputs, output by output:
// weight [j][i] stands at ((i / 4) * outputs + j) * 4 + i % 4. A vector form then
// broadcasts four activations and multiply-adds them into all outputs at once, with no
// horizontal sums. The row-major copies are the blob's own order.
struct ForwardWeights {
  const int8_t* l2_row_major;    // [L2_SIZE][L2_INPUTS]
  const int8_t* l2_input_major;  // [L2_INPUTS / 4][L2_SIZE][4]
  const int32_t* l2_biases;      // [L2_SIZE]
  const int8_t* l3_row_major;    // [L3_SIZE][L2_SIZE]
  const int8_t* l3_input_major;  // [L2_SIZE / 4][L3_SIZE][4]
  const int32_t* l3_biases;      // [L3_SIZE]
  const int8_t* l4_weights;      // [L3_SIZE]
  int32_t l4_bias;
};

// acc = source + added rows - removed rows, lane by lane modulo 2^16; source may be acc.
// Rows, source and acc are 64-byte aligned blocks of L1_SIZE lanes.
using ApplyRows = void (*)(int16_t* acc, const int16_t* source, const RowBatch& batch);

// Layers 2 to 4 on the side to move's accumulator and the other's: the output sum
// divided by 32, truncating towards 0 (before the Chess960 terms and the clamp).
using ForwardPass = int32_t (*)(const int16_t* acc_own, const int16_t* acc_other, const ForwardWeights& w);

#define TESMAR_DECLARE_EVAL_FORM(NAME)                                                  \
  namespace NAME {                                                                      \
  void apply_rows(int16_t* acc, const int16_t* source, const RowBatch& batch);          \
  int32_t forward_pass(const int16_t* acc_own, const int16_t* acc_other, const ForwardWeights& w); \
  }

TESMAR_DECLARE_EVAL_FORM(plain_form)        // plain integers: the reference
#ifdef __aarch64__
TESMAR_DECLARE_EVAL_FORM(neon_form)          // 16-byte ARMv8 vectors
TESMAR_DECLARE_EVAL_FORM(neon_dotprod_form)  // 16-byte vectors with the 8-bit dot product
#else
TESMAR_DECLARE_EVAL_FORM(sse41_form)        // 16-byte vectors, SSSE3 and SSE4.1
TESMAR_DECLARE_EVAL_FORM(avx2_form)         // 32-byte vectors
TESMAR_DECLARE_EVAL_FORM(avx512_form)       // 64-byte vectors, AVX-512 BW
TESMAR_DECLARE_EVAL_FORM(avx512_vnni_form)  // 64-byte vectors with the 8-bit dot product
#endif
#undef TESMAR_DECLARE_EVAL_FORM

// The index in EVAL_FORMS of the form of the processor this build targets.
#if defined(__aarch64__) && defined(__ARM_FEATURE_DOTPROD)
constexpr int NATIVE_FORM_INDEX = 2;
#elif defined(__aarch64__)
constexpr int NATIVE_FORM_INDEX = 1;
#elif defined(__AVX512VNNI__) && defined(__AVX512BW__) && defined(__AVX512VL__)
constexpr int NATIVE_FORM_INDEX = 4;
#elif defined(__AVX512BW__) && defined(__AVX512VL__)
constexpr int NATIVE_FORM_INDEX = 3;
#elif defined(__AVX2__)
constexpr int NATIVE_FORM_INDEX = 2;
#else
constexpr int NATIVE_FORM_INDEX = 1;
#endif

struct EvalForm {
  const char* name;
  bool (*runs_here)();  // the processor running this program has the instructions
  ApplyRows apply_rows;
  ForwardPass forward_pass;
};

#ifdef __aarch64__
constexpr int EVAL_FORM_COUNT = 3;
#else
constexpr int EVAL_FORM_COUNT = 5;
#endif
// Plain first, then the vector forms from the narrowest.
extern const EvalForm EVAL_FORMS[EVAL_FORM_COUNT];

// The form that evaluate uses. A build for one processor uses that processor's form; the
// portable build, which runs anywhere, takes at start-up the widest form the processor has.
extern const EvalForm* const engine_eval_form;
