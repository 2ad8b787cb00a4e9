#pragma once
// Tests run once for each vector form of the evaluation, against the plain form; a form
// whose instructions this processor lacks is skipped, and the test output names it.
#include <gtest/gtest.h>

#include <string>

#include "eval/eval_forms.h"

class EveryVectorForm : public testing::TestWithParam<int> {
 protected:
  const EvalForm& form() const { return EVAL_FORMS[GetParam()]; }
  void SetUp() override {
    if (!form().runs_here()) GTEST_SKIP() << "form " << form().name << " skipped: this processor lacks its instructions";
  }
};

// Test names from form names: letters and digits only.
inline std::string form_test_name(const testing::TestParamInfo<int>& info) {
  std::string name;
  for (const char* c = EVAL_FORMS[info.param].name; *c; ++c)
    if (std::isalnum(static_cast<unsigned char>(*c))) name += *c;
  return name;
}

// Every form but the plain one, which is the reference.
#define TESMAR_FOR_EVERY_VECTOR_FORM(SUITE) \
  INSTANTIATE_TEST_SUITE_P(Forms, SUITE, testing::Range(1, EVAL_FORM_COUNT), form_test_name)
