#pragma once
// Win/draw/loss probes of the endgame tables, from the side to move's view (-2..2).
#include "search/thread_data.h"

int probe_wdl(ThreadData& thread, bool& success);
