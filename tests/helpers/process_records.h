#pragma once
// The engine's process-wide records (options, search limits, the read loop's state) as a
// test found them, put back when it ends: no test leaves its settings to the next.
#include <gtest/gtest.h>

class ProcessRecordsRestorer : public testing::EmptyTestEventListener {
 public:
  void OnTestStart(const testing::TestInfo&) override;
  void OnTestEnd(const testing::TestInfo&) override;
};
