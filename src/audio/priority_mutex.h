// A mutex for data that the audio thread shares with others. While the audio thread waits for it,
// the holder runs with the audio thread's priority. With an ordinary mutex a busy machine could
// keep the holder from running, and the real-time thread from continuing.
//
// Works with std::lock_guard and std::unique_lock. Any thread.
#pragma once

#include <pthread.h>
#include <semaphore.h>

#include <cerrno>
#include <chrono>
#include <ctime>
#include <mutex>

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

// Wakes a thread that waits for a change of data behind a PriorityMutex. It stands in for a
// condition variable: those of the standard library and of the C library have an ordinary lock
// inside, which a notifier may have to wait for.
class Wakeup {
 public:
  Wakeup() { sem_init(&calls_, 0, 0); }
  ~Wakeup() { sem_destroy(&calls_); }
  Wakeup(const Wakeup&) = delete;
  Wakeup& operator=(const Wakeup&) = delete;

  // Call it after each change. Waits for nothing. Any thread.
  void notify() { sem_post(&calls_); }

  // Waits until `done`, which is asked with the lock held, or for `limit` at most. Returns whether
  // it is done. One thread at a time.
  template <typename Done>
  bool wait_for(std::unique_lock<PriorityMutex>& lock, std::chrono::milliseconds limit, Done done) {
    const timespec until = time_in(limit);
    while (!done()) {
      lock.unlock();
      const bool called = sem_clockwait(&calls_, CLOCK_MONOTONIC, &until) == 0 || errno == EINTR;
      lock.lock();
      if (!called) return done();
    }
    return true;
  }

 private:
  static timespec time_in(std::chrono::nanoseconds span) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    const auto time = std::chrono::nanoseconds(now.tv_nsec) + span;
    const auto seconds = std::chrono::floor<std::chrono::seconds>(time);
    return {now.tv_sec + seconds.count(), (time - seconds).count()};
  }

  sem_t calls_{};
};

}  // namespace audio
