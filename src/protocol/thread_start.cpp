#include "protocol/thread_start.h"

bool start_thread(pthread_t& handle, void* (*body)(void*), void* argument, size_t stack_size) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, stack_size);
  const bool started = pthread_create(&handle, &attributes, body, argument) == 0;
  pthread_attr_destroy(&attributes);
  return started;
}
