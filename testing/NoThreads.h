#pragma once

#include <pthread.h>

#include <cstddef>

/** While it lives, no thread can be created: no address space holds the stack it would get. */
class NoThreads {
 public:
  NoThreads() {
    pthread_getattr_default_np(&mUsual);
    pthread_attr_t huge = mUsual;
    pthread_attr_setstacksize(&huge, std::size_t{1} << 60);
    pthread_setattr_default_np(&huge);
  }
  ~NoThreads() { pthread_setattr_default_np(&mUsual); }

 private:
  pthread_attr_t mUsual;
};
