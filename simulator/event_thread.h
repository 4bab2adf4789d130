// One of the host's threads: runs tasks one after the other.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <queue>
#include <string>
#include <thread>

namespace brelmo::tavi::simulator {

class EventThread {
 public:
  // `name` is for debuggers; the system cuts it at 15 characters.
  explicit EventThread(const std::string& name);
  EventThread(const EventThread&) = delete;
  EventThread& operator=(const EventThread&) = delete;
  // Ends when the tasks given so far are done.
  ~EventThread();

  // Runs `task` after those given before and does not wait for it.
  void Post(std::function<void()> task);
  // Runs `task` and waits for it. False when it is not done in `timeout`; it then goes on running,
  // so what it refers to must stay.
  bool Run(std::function<void()> task, std::chrono::milliseconds timeout);
  // Waits until every task given so far is done. False on timeout. Time in which the process is
  // stopped does not count.
  bool Drain(std::chrono::milliseconds timeout);

 private:
  void Loop();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::queue<std::function<void()>> tasks_;
  bool ending_ = false;
  std::thread thread_;  // last: it uses the others
};

}  // namespace brelmo::tavi::simulator
