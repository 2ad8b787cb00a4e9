#pragma once
// Starting the program's own threads, each with the stack its work needs.
#include <pthread.h>

#include <cstddef>

// Starts body(argument) on a new thread with stack_size bytes of stack; false when the
// system refuses.
inline bool start_thread(pthread_t& handle, void* (*body)(void*), void* argument, size_t stack_size) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, stack_size);
  const bool started = pthread_create(&handle, &attributes, body, argument) == 0;
  pthread_attr_destroy(&attributes);
  return started;
}
