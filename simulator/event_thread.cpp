#include "event_thread.h"

#include <pthread.h>

#include <algorithm>
#include <future>
#include <memory>
#include <utility>

namespace brelmo::tavi::simulator {

EventThread::EventThread(const std::string& name) : thread_([this] { Loop(); }) {
  constexpr size_t kMaxNameLength = 15;
  pthread_setname_np(thread_.native_handle(), name.substr(0, kMaxNameLength).c_str());
}

EventThread::~EventThread() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    ending_ = true;
  }
  changed_.notify_one();
  thread_.join();
}

void EventThread::Post(std::function<void()> task) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    tasks_.push(std::move(task));
  }
  changed_.notify_one();
}

bool EventThread::Run(std::function<void()> task, std::chrono::milliseconds timeout) {
  Post(std::move(task));
  return Drain(timeout);
}

bool EventThread::Drain(std::chrono::milliseconds timeout) {
  // Shared: on a timeout the task outlives this call.
  const auto done = std::make_shared<std::promise<void>>();
  std::future<void> finished = done->get_future();
  Post([done] { done->set_value(); });
  // In slices that count as what they were to be: time in which the process was stopped, or others
  // had the processor, is not the task's.
  constexpr std::chrono::milliseconds kSlice{50};
  for (auto left = timeout; left > kSlice; left -= kSlice) {
    if (finished.wait_for(kSlice) == std::future_status::ready) return true;
  }
  return finished.wait_for(std::min(timeout, kSlice)) == std::future_status::ready;
}

void EventThread::Loop() {
  std::unique_lock<std::mutex> lock(mutex_);
  for (;;) {
    changed_.wait(lock, [this] { return ending_ || !tasks_.empty(); });
    if (tasks_.empty()) return;
    const std::function<void()> task = std::move(tasks_.front());
    tasks_.pop();
    lock.unlock();
    task();
    lock.lock();
  }
}

}  // namespace brelmo::tavi::simulator
