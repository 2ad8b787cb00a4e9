// Trains the engine's network on training files, exports it as a blob, and checks that the
// engine scores with the blob what the trained model scores. See TRAINER_USAGE for the commands.
#include <cstdio>
#include <cstring>

#include "board/board_tables.h"
#include "protocol/engine_options.h"
#include "trainer/commands.h"
#include "trainer/options.h"

int main(int argc, char** argv) {
  if (argc < 2 || !std::strcmp(argv[1], "--help") || !std::strcmp(argv[1], "help")) {
    std::fputs(TRAINER_USAGE, argc < 2 ? stderr : stdout);
    return argc < 2 ? 2 : 0;
  }
  set_default_options(engine_options);
  init_board_tables();
  if (!std::strcmp(argv[1], "train")) return train_command(argc - 2, argv + 2);
  if (!std::strcmp(argv[1], "export")) return export_command(argc - 2, argv + 2);
  if (!std::strcmp(argv[1], "check")) return check_command(argc - 2, argv + 2);
  std::fprintf(stderr, "unknown command %s\n%s", argv[1], TRAINER_USAGE);
  return 2;
}
