// Prints what a thread became once its request was answered: "POLICY PRIORITY NICE". With the
// argument "run-away" the thread then computes without ever waiting, until it is stopped; with
// "withdraw" the request is withdrawn at once.
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <iostream>
#include <string_view>
#include <thread>

#include "app/logger.h"
#include "realtime/realtime.h"

int main(int argc, char** argv) {
  const std::string_view wanted = argc > 1 ? argv[1] : "";
  std::atomic<pid_t> number{0};
  std::atomic<bool> run{false};
  std::thread thread([&] {
    number = gettid();
    number.notify_all();
    run.wait(false);
    for (volatile unsigned count = 0; wanted == "run-away";)
      count = count + 1;
  });
  number.wait(0);
  realtime::request(number);
  const auto logged = [] { return !logger::tail(1).empty(); };
  while (wanted != "withdraw" && !logged())
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  sched_param parameters{};
  sched_getparam(number, &parameters);
  std::cout << (sched_getscheduler(number) & ~SCHED_RESET_ON_FORK) << ' '
            << parameters.sched_priority << ' '
            << getpriority(PRIO_PROCESS, static_cast<id_t>(number.load())) << '\n'
            << (logged() ? logger::tail(1).front() : "") << std::endl;
  run = true;
  run.notify_all();
  thread.join();
  realtime::withdraw();
}
