#include "bench_device.h"

#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <thread>

#include "data_folder.h"
#include "host_event.h"
#include "process/scratch_folder.h"

namespace brelmo::tavi::benchmarks {

namespace {

// A folder that lasts as long as the process, in the place of the module's data folder.
class Files {
 public:
  std::string Name(int number) {
    std::string name = "r" + std::to_string(number) + ".txt";
    if (made_.insert(number).second) folder_.Write(name, Response(number));
    return name;
  }

  std::string Path(int number) { return folder_.path(Name(number)); }

 private:
  static std::string Response(int number) {
    std::string text;
    for (size_t bin = 0; bin < kBins; ++bin) {
      const double phase = 0.01 * static_cast<double>(bin) + number;
      char line[64];
      std::snprintf(line, sizeof(line), "%.7g,%.7g\n", std::cos(phase), std::sin(phase));
      text += line;
    }
    return text;
  }

  const tools::ScratchFolder folder_;
  const simulator::DataFolder redirection_{folder_.path()};
  std::set<int> made_;
};

std::atomic<uint64_t> bytes_written = 0;
std::atomic<int64_t> write_time_us = 0;

int Receive(const unsigned char* /*data*/, size_t size) {
  bytes_written.store(bytes_written.load(std::memory_order_relaxed) + size,
                      std::memory_order_relaxed);
  if (const int64_t time = write_time_us.load(std::memory_order_relaxed); time > 0) {
    std::this_thread::sleep_for(std::chrono::microseconds(time));
  }
  return 0;
}

Files& TheFiles() {
  static Files files;
  return files;
}

}  // namespace

std::string DataFileName(int number) { return TheFiles().Name(number); }
std::string DataFilePath(int number) { return TheFiles().Path(number); }

std::string Case(const std::string& hinge, const std::string& rotation, int file) {
  return "HingeAngle:" + hinge + "|ScreenRotation:" + rotation +
         "|LeftChannel:" + DataFileName(file) + "|RightChannel:" + DataFileName(file + 1) + " ";
}

const simulator::LoadedModule& TheModule() {
  static const char* const path = std::getenv("TAVI_MODULE");
  static const simulator::LoadedModule module(path != nullptr ? path : TAVI_MODULE);
  return module;
}

simulator::DirectHost& TheHost() {
  static simulator::DirectHost host(TheModule().descriptor(), Receive);
  return host;
}

void* Init(const std::string& config) {
  if (TheHost().Init(config) != 0 || TheHost().handle() == nullptr) std::abort();
  return TheHost().handle();
}

void StartCall() {
  TheHost().Deliver(simulator::Announce(5));
  TheHost().Deliver(simulator::StartUsecase(6));
}

void StopCall() {
  TheHost().Deliver(simulator::StopUsecase(6));
  TheHost().Deliver(simulator::Withdraw(5));
}

uint64_t BytesWritten() { return bytes_written.load(std::memory_order_relaxed); }

void SetWriteTime(std::chrono::microseconds time) {
  write_time_us.store(time.count(), std::memory_order_relaxed);
}

}  // namespace brelmo::tavi::benchmarks
