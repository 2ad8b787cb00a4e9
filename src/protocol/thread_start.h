#pragma once
// Starting the program's own threads, each with the stack its work needs.
#include <pthread.h>

#include <cstddef>

// Starts body(argument) on a new thread with stack_size bytes of stack; false when the
// system refuses.
bool start_thread(pthread_t& handle, void* (*body)(void*), void* argument, size_t stack_size);
