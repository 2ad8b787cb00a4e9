// The engine process: tables first, then the UCI dialogue on standard input.
#include "board/board_tables.h"
#include "eval/network.h"
#include "protocol/command_line.h"
#include "protocol/engine_options.h"
#include "protocol/genfens_run.h"
#include "protocol/pgo_run.h"
#include "protocol/read_loop.h"
#include "protocol/search_limits.h"
#include "search/reductions.h"
#include "tablebase/index_tables.h"
#include "tablebase/registry.h"

int main(int argc, char** argv) {
  set_default_options(engine_options);
  // The locks start free; no memory block exists until ucinewgame, position or go.
  search_limits.hash_table = nullptr;
  search_limits.thread_blocks = nullptr;
  search_limits.tb_largest = 0;
  init_board_tables();
  init_reduction_tables();
  tb_tables_init();
  search_limits.tb_largest = tb_init("<empty>");
  // The forward pass reads aligned copies of the small layers; a blob made for
  // other arithmetic is refused before any command is read.
  load_network(tesmar_embedded_network);
  check_network_header_or_exit(tesmar_embedded_network);
  // The command-line runs go straight to tear-down, as after quit.
  int status = 0;
  if (pgo_run_requested(argc, argv)) {
    pgo_run();
  } else if (bench_run_requested(argc, argv)) {
    bench_run();
  } else if (genfens_run_requested(argc, argv)) {
    status = genfens_command(argv[1]) ? 0 : 1;
  } else {
    read_loop();
  }
  tear_down();
  return status;
}
