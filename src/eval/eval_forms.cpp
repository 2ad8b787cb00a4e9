#include "eval/eval_forms.h"

#include "platform/processor_features.h"

namespace {

bool always() { return true; }

}  // namespace

#ifdef __aarch64__

const EvalForm EVAL_FORMS[EVAL_FORM_COUNT] = {
    {"plain", always, plain_form::apply_rows, plain_form::forward_pass},
    {"neon", always, neon_form::apply_rows, neon_form::forward_pass},
    {"neon-dotprod", processor_has_dot_product, neon_dotprod_form::apply_rows, neon_dotprod_form::forward_pass},
};

#else

namespace {

bool has_sse41() { return __builtin_cpu_supports("sse4.1") && __builtin_cpu_supports("ssse3"); }
bool has_avx2() { return __builtin_cpu_supports("avx2"); }
bool has_avx512() { return __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl"); }
bool has_avx512_vnni() { return has_avx512() && __builtin_cpu_supports("avx512vnni"); }

}  // namespace

const EvalForm EVAL_FORMS[EVAL_FORM_COUNT] = {
    {"plain", always, plain_form::apply_rows, plain_form::forward_pass},
    {"sse4.1", has_sse41, sse41_form::apply_rows, sse41_form::forward_pass},
    {"avx2", has_avx2, avx2_form::apply_rows, avx2_form::forward_pass},
    {"avx512", has_avx512, avx512_form::apply_rows, avx512_form::forward_pass},
    {"avx512-vnni", has_avx512_vnni, avx512_vnni_form::apply_rows, avx512_vnni_form::forward_pass},
};

#endif

namespace {

const EvalForm* choose_engine_form() {
#ifdef TESMAR_PORTABLE_BUILD
#ifndef __aarch64__
  __builtin_cpu_init();  // this runs among the constructors, perhaps before the library's own
#endif
  for (int i = EVAL_FORM_COUNT - 1; i > 0; --i)
    if (EVAL_FORMS[i].runs_here()) return &EVAL_FORMS[i];
#endif
  return &EVAL_FORMS[NATIVE_FORM_INDEX];
}

}  // namespace

const EvalForm* const engine_eval_form = choose_engine_form();
