// What a child process of child_process.h is made of: pipes, the state that it shares with its
// parent, and what it runs.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <string>

#include "process/child_process.h"

namespace brelmo::tavi::tools {

// In memory that parent and child share.
struct ChildState {
  std::array<char, 1000> activity{};
  std::atomic<uint32_t> steps = 0;    // that were begun
  std::atomic<int64_t> limit_ms = 0;  // of the step; 0: unlimited
  std::atomic<int> result = 0;
  std::atomic<bool> is_finished = false;
};

// Both ends close with the object. Throws MachineError when there are no descriptors left.
class Pipe {
 public:
  Pipe();
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  ~Pipe();

  int read_end() const { return ends_[0]; }
  int write_end() const { return ends_[1]; }
  void CloseReadEnd() { Close(0); }
  void CloseWriteEnd() { Close(1); }

 private:
  void Close(size_t end);

  std::array<int, 2> ends_{};
};

// What the child tells its parent, one after the other through a pipe: a kind, the size of the
// text in four bytes of the machine's order, the text.
enum class ChildMessage : char { kReport = 'r', kShow = 's', kMachine = 'm' };

// Takes the first message out of `bytes`. False when its end has yet to come.
bool TakeMessage(std::string& bytes, ChildMessage& kind, std::string& text);

struct ChildFiles {
  int input = -1;     // -1: nothing
  int output = -1;    // standard output and error
  int messages = -1;  // blocking
};

// The child's whole life.
[[noreturn]] void LiveAsChild(ChildState& state, const ChildFiles& files, const ChildLimits& limits,
                              const std::function<int(ChildReport&)>& work);

}  // namespace brelmo::tavi::tools
