#pragma once
// The driver of one search: from the filled SearchLimits and thread 0's root list to
// the bestmove line. Runs on a thread of its own, which is also search thread 0.
#include <pthread.h>

#include <cstddef>

// The recursion keeps a move list in every frame for hundreds of plies: think and every
// search thread start with this much stack.
constexpr size_t SEARCH_STACK_SIZE = size_t(16) << 20;

// Expects at least one root move in thread 0 and EngineLock held on its behalf; prints
// the result and releases EngineLock as its last act.
void think();

// think as a thread function, for the go command's detached thread.
void* think_thread(void*);
