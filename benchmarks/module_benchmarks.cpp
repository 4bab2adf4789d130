// What the module costs, each beside the same work done bare in the same run. ./bench runs this.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <android-base/logging.h>
#include <benchmark/benchmark.h>

#include "bench_device.h"
#include "ratio_table.h"
#include "telephony_speaker_compensation.h"

namespace brelmo::tavi::benchmarks {

namespace {

using audio::compensation::CompensationData;

constexpr size_t kHeaderSize = 8;
constexpr size_t kChannels = 2;

// ---- Floors ------------------------------------------------------------------------------------

// The bare work of an event, on data laid out as simply as can be.
class BareEngine {
 public:
  explicit BareEngine(hal_tuning_entry_t entry) : entry_(entry) {
    for (auto& response : responses_) response.assign(2 * kBins, 1.0F);
  }

  // A reading that is sent: one allocation, two messages, one call.
  void Send(int angle) {
    const std::lock_guard<std::mutex> lock(mutex_);
    angle_ = angle;
    constexpr size_t kPayload = 2 * kBins * sizeof(float);
    constexpr size_t kTotal = kChannels * (kHeaderSize + kPayload);
    const std::unique_ptr<unsigned char[]> buffer(new unsigned char[kTotal]);
    unsigned char* cursor = buffer.get();
    for (size_t channel = 0; channel < kChannels; ++channel) {
      const std::array<uint32_t, 2> header = {static_cast<uint32_t>(16 + channel), kPayload};
      std::memcpy(cursor, header.data(), kHeaderSize);
      std::memcpy(cursor + kHeaderSize, responses_[channel].data(), kPayload);
      cursor += kHeaderSize + kPayload;
    }
    benchmark::DoNotOptimize(cursor);
    entry_(TheHost().device(), 16, 10, 0, nullptr, nullptr, buffer.get(), kTotal, 0, 0);
  }

  // A reading that changes nothing but itself.
  void Store(int angle) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (angle == angle_) return;
    angle_ = angle;
    benchmark::ClobberMemory();
  }

 private:
  std::mutex mutex_;
  int angle_ = -1;
  hal_tuning_entry_t entry_;
  std::array<std::vector<float>, kChannels> responses_;
};

// Volatile: the compiler may not see through the pointer, as it cannot in the module.
hal_tuning_entry_t volatile bare_entry = simulator::DirectHost::TuningEntry;

// Reads with one read and converts in place.
size_t ReadBare(const std::string& path, std::vector<char>& content, std::vector<float>& floats) {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat status = {};
  fstat(fd, &status);
  content.resize(static_cast<size_t>(status.st_size) + 1);
  const ssize_t size = read(fd, content.data(), static_cast<size_t>(status.st_size));
  close(fd);
  if (size != status.st_size) std::abort();
  content.back() = '\0';
  floats.clear();
  char* cursor = content.data();
  while (*cursor != '\0') {
    char* end = nullptr;
    floats.push_back(std::strtof(cursor, &end));
    if (end == cursor) std::abort();
    cursor = *end == '\0' ? end : end + 1;
  }
  return floats.size();
}

// ---- Events ------------------------------------------------------------------------------------

// A device of two cases in a call.
void StartTwoCases() {
  const std::string config = Case("0,90", "0,90,180,270", 0) + Case("91,180", "0,90,180,270", 2);
  Init(config);
  StartCall();
  TheHost().HingeAngle(30);
}

void SwitchCase(benchmark::State& state) {
  StartTwoCases();
  const uint64_t before = BytesWritten();
  int angle = 30;
  for ([[maybe_unused]] auto _ : state) {
    angle = 150 - angle;
    TheHost().HingeAngle(angle);
  }
  if (BytesWritten() - before != static_cast<uint64_t>(state.iterations()) * 4128)
    state.SkipWithError("not every reading was sent");
}
BENCHMARK(SwitchCase)->Name("switch_case/module");

void SwitchCaseBare(benchmark::State& state) {
  BareEngine engine(bare_entry);
  int angle = 30;
  for ([[maybe_unused]] auto _ : state) {
    angle = 150 - angle;
    engine.Send(angle);
  }
}
BENCHMARK(SwitchCaseBare)->Name("switch_case/bare");

void SameCase(benchmark::State& state) {
  StartTwoCases();
  int angle = 30;
  for ([[maybe_unused]] auto _ : state) {
    angle ^= 1;
    TheHost().HingeAngle(angle);
  }
}
BENCHMARK(SameCase)->Name("same_case/module");

// Called through a pointer, as the host's sensor thread calls the module.
int StoreAngle(int angle, void* engine) {
  static_cast<BareEngine*>(engine)->Store(angle);
  return 0;
}
int (*volatile bare_callback)(int, void*) = StoreAngle;

void SameCaseBare(benchmark::State& state) {
  BareEngine engine(bare_entry);
  int angle = 30;
  for ([[maybe_unused]] auto _ : state) {
    angle ^= 1;
    bare_callback(angle, &engine);
  }
}
BENCHMARK(SameCaseBare)->Name("same_case/bare");

void SameAngle(benchmark::State& state) {
  StartTwoCases();
  for ([[maybe_unused]] auto _ : state) TheHost().HingeAngle(30);
}
BENCHMARK(SameAngle)->Name("same_angle/module");

void SameAngleBare(benchmark::State& state) {
  BareEngine engine(bare_entry);
  for ([[maybe_unused]] auto _ : state) bare_callback(30, &engine);
}
BENCHMARK(SameAngleBare)->Name("same_angle/bare");

// ---- Many cases --------------------------------------------------------------------------------

// An event's cost is not to grow with the table: what stands as bare here is the module with four
// cases. Only the last case matches at 150 degrees; all others hold in the range 0 to 90.
void SameCaseOf(benchmark::State& state, int count) {
  std::string config;
  for (int i = 1; i < count; ++i) config += Case("0,90", "0,90,180,270", 0);
  config += Case("91,180", "0,90,180,270", 2);
  Init(config);
  StartCall();
  TheHost().HingeAngle(150);
  int angle = 150;
  for ([[maybe_unused]] auto _ : state) {
    angle ^= 1;
    TheHost().HingeAngle(angle);
  }
}
BENCHMARK_CAPTURE(SameCaseOf, 4000, 4000)->Name("many_cases_4000/module");
BENCHMARK_CAPTURE(SameCaseOf, 4, 4)->Name("many_cases_4000/bare");

// ---- Files and init ----------------------------------------------------------------------------

void DataFile(benchmark::State& state) {
  const std::string name = DataFileName(0);
  for ([[maybe_unused]] auto _ : state) {
    CompensationData data;
    if (!data.ParseQuantityFromFile(name)) state.SkipWithError("the file is refused");
    benchmark::DoNotOptimize(data.raw_data.data());
  }
}
BENCHMARK(DataFile)->Name("data_file/module");

void DataFileBare(benchmark::State& state) {
  const std::string path = DataFilePath(0);
  for ([[maybe_unused]] auto _ : state) {
    std::vector<char> content;
    std::vector<float> floats;
    floats.reserve(2 * kBins);
    if (ReadBare(path, content, floats) != 2 * kBins) state.SkipWithError("short");
    benchmark::DoNotOptimize(floats.data());
  }
}
BENCHMARK(DataFileBare)->Name("data_file/bare");

// As many different ranges as there are cases: the worst that a configuration can ask for.
std::string ConfigOf(int64_t count) {
  std::string config;
  int file = 0;
  for (int low = 0; low < 180 && count > 0; ++low) {
    for (int high = low + 1; high <= 180 && count > 0; ++high, --count, file += 2) {
      config += Case(std::to_string(low) + "," + std::to_string(high), "0,180", file);
    }
  }
  return config;
}

void InitModule(benchmark::State& state) {
  const std::string config = ConfigOf(state.range(0));
  for ([[maybe_unused]] auto _ : state) {
    Init(config);
    TheHost().Deinit();
  }
}

void InitBare(benchmark::State& state) {
  std::vector<std::string> paths;
  paths.reserve(2 * state.range(0));
  for (int file = 0; file < 2 * state.range(0); ++file) {
    paths.push_back(DataFilePath(file));
  }
  for ([[maybe_unused]] auto _ : state) {
    std::vector<char> content;
    // What is read is kept, as the module keeps it.
    std::vector<std::vector<float>> responses;
    for (const std::string& path : paths) {
      std::vector<float> floats;
      floats.reserve(2 * kBins);
      ReadBare(path, content, floats);
      responses.push_back(std::move(floats));
    }
    benchmark::DoNotOptimize(responses.data());
    state.PauseTiming();
    responses.clear();
    state.ResumeTiming();
  }
}

void RegisterScaling() {
  for (const int64_t count : {4, 40, 400, 4000}) {
    const std::string suffix = std::to_string(count);
    // The module leaves its engine behind at every deinit, so the rounds are few.
    const int64_t rounds = 4000 / count;
    benchmark::RegisterBenchmark(("init_" + suffix + "/module").c_str(), InitModule)
        ->Arg(count)
        ->Iterations(rounds);
    benchmark::RegisterBenchmark(("init_" + suffix + "/bare").c_str(), InitBare)
        ->Arg(count)
        ->Iterations(rounds);
  }
}

}  // namespace

}  // namespace brelmo::tavi::benchmarks

int main(int argc, char** argv) {
  using brelmo::tavi::benchmarks::RatioTable;
  android::base::SetMinimumLogSeverity(android::base::FATAL);
  brelmo::tavi::benchmarks::RegisterScaling();

  // Repeated, and in mixed order: machines are noisy, and not evenly so.
  std::vector<char*> arguments(argv, argv + argc);
  std::string repetitions = "--benchmark_repetitions=9";
  std::string interleaving = "--benchmark_enable_random_interleaving=true";
  std::string time = "--benchmark_min_time=0.1";
  for (std::string* const argument : {&time, &interleaving, &repetitions}) {
    arguments.insert(arguments.begin() + 1, argument->data());
  }
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 2;

  // A second thread: a host has several, and locks are cheaper in a process with only one.
  std::promise<void> done;
  std::thread other([finished = done.get_future()] { finished.wait(); });
  RatioTable table({{"switch_case", 1.5},
                    {"same_case", 2},
                    {"same_angle", 1.2},
                    {"data_file", 1.5},
                    {"init_4", 1.5},
                    {"init_40", 1.5},
                    {"init_400", 1.5},
                    {"init_4000", 1.5},
                    {"many_cases_4000", 1.3}});
  benchmark::RunSpecifiedBenchmarks(&table);
  const bool is_complete = table.Print();
  done.set_value();
  other.join();
  return is_complete ? 0 : 1;
}
