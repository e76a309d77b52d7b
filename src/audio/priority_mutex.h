// A mutex for data that the audio thread shares with others. While the audio thread waits for it,
// the holder runs with the audio thread's priority. With an ordinary mutex a busy machine could
// keep the holder from running, and the real-time thread from continuing.
//
// Works with std::lock_guard, std::unique_lock and std::condition_variable_any. Any thread.
#pragma once

#include <pthread.h>

namespace audio {

class PriorityMutex {
 public:
  PriorityMutex() {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    // Without support for it this is an ordinary mutex.
    pthread_mutexattr_setprotocol(&attributes, PTHREAD_PRIO_INHERIT);
    pthread_mutex_init(&mutex_, &attributes);
    pthread_mutexattr_destroy(&attributes);
  }
  ~PriorityMutex() { pthread_mutex_destroy(&mutex_); }
  PriorityMutex(const PriorityMutex&) = delete;
  PriorityMutex& operator=(const PriorityMutex&) = delete;

  void lock() { pthread_mutex_lock(&mutex_); }
  void unlock() { pthread_mutex_unlock(&mutex_); }

 private:
  pthread_mutex_t mutex_{};
};

}  // namespace audio
