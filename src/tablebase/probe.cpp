#include "tablebase/probe.h"

// No tables are read yet: the tablebase code replaces this.
int probe_wdl(ThreadData&, bool& success) {
  success = false;
  return 0;
}
