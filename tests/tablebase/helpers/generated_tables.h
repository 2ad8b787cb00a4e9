#pragma once
// The generator's own results beside the engine's probes: the engine on some set of
// embedded files must answer every position as the generator solved it.
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "search/thread_data.h"
#include "tablebase/helpers/tb_fixtures.h"
#include "tbgen/retrograde.h"

// Tables solved by the generator, once per process (smaller ones come along).
const TableResult& generated_table(const std::string& name);

// Signatures whose solving, smaller tables included, takes seconds; the long checks walk
// all 35. Tests take them in one process, so that the smaller tables are solved once.
inline const std::vector<std::string> QUICK_SIGNATURES = {"KQvK",  "KRvK",  "KPvK",  "KBvKN", "KNvKN",
                                                          "KRvKR", "KRvKB", "KBBvK", "KBNvK"};

// What the probes should say of a solved position: WDL, and DTZ in plies (signed);
// rounded where the files may store the distance halved (wins the 50-move rule spoils).
struct GeneratedValue {
  int wdl;
  int dtz;
  bool rounded;
};
GeneratedValue generated_value(uint16_t state);

// The FEN of one of the generator's positions (left side White, no castling, no en passant).
std::string fen_of_entry(const Layout& l, uint64_t index);

// Empty when the probes of the generator's position idx give its value (as compare_probes
// below holds them), else the fault with the FEN; exact tells whether the distance had to
// be equal to the ply.
std::string entry_probe_fault(ThreadData& thread, const TableResult& t, uint64_t idx, bool exact_files,
                              bool* exact = nullptr);

// probe_wdl equal to the generator's value, probe_dtz equal in sign, equal in size where
// the embedded DTZ file stores exact plies (exact_files), within one ply elsewhere.
// Walks `sample` random positions per side, or every legal one when 0.
struct ProbeComparison : SweepResult {
  int64_t exact = 0;  // distances compared for equality
};
ProbeComparison compare_probes(ThreadData& thread, const std::string& name, int sample, bool exact_files,
                               std::mt19937_64& random);

// compare_probes on every legal position of the signature, both sides to move; failures are
// reported to the running test, the counts printed.
void expect_every_position_agrees(const std::string& name, bool exact_files);

// compare_probes on 400 positions per side of each of the QUICK_SIGNATURES, in this process,
// with the registry as the caller set it; failures are reported to the running test.
void expect_quick_signatures_agree(bool exact_files, uint64_t seed);
