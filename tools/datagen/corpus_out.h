#pragma once
// The game corpus file that a self-play run appends to, beside its training file. A game goes to
// the corpus before its line goes to the journal, so on a new run the corpus keeps exactly the
// games that the journal names (a game written just before a kill is dropped, and played again).
#include <cstdint>
#include <string>

#include "datagen/run_journal.h"

struct CorpusOut {
  std::string path;
  int fd = -1;
  int64_t bytes = 0;  // length of the file
  CorpusOut() = default;
  CorpusOut(const CorpusOut&) = delete;
  CorpusOut& operator=(const CorpusOut&) = delete;
  ~CorpusOut();
};

// Opens or starts the corpus at path and cuts it back to the last game that the journal names.
// False with a reason in error.
bool open_corpus_out(const std::string& path, const JournalState& journal, CorpusOut& out, std::string& error);

// Appends one framed game; false with a reason (a write error, or the file would pass its size
// limit: the batch is full, and further games belong to a new file).
bool append_corpus_game(CorpusOut& out, const char* framed, size_t bytes, std::string& error);
