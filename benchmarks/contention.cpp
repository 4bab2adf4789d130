// What the module's threads cost each other: a dump beside traffic, and a slow DSP.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <android-base/logging.h>

#include "bench_device.h"
#include "host_event.h"

namespace brelmo::tavi::benchmarks {

namespace {

using Clock = std::chrono::steady_clock;

double Percentile(std::vector<double> values, double part) {
  const auto at =
      values.begin() + static_cast<std::ptrdiff_t>(part * static_cast<double>(values.size() - 1));
  std::nth_element(values.begin(), at, values.end());
  return *at;
}

// Nanoseconds that each of `count` readings takes, every one of which is sent.
std::vector<double> TimeReadings(int count) {
  std::vector<double> times;
  times.reserve(static_cast<size_t>(count));
  int angle = 30;
  for (int i = 0; i < count; ++i) {
    angle = 150 - angle;
    const auto begin = Clock::now();
    TheHost().HingeAngle(angle);
    times.push_back(std::chrono::duration<double, std::nano>(Clock::now() - begin).count());
  }
  return times;
}

// Rounds without dumps, with dumps of another engine and with dumps of this one by turns, so that
// the machine's moods meet all. What the second thread costs by being there shows in the second
// kind.
void MeasureDumps(void* context, void* other_context) {
  constexpr int kRounds = 15;
  constexpr int kReadings = 200000;
  const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
  std::atomic<void*> dumped = nullptr;
  std::atomic<bool> is_ending = false;
  std::atomic<int64_t> dumps = 0;
  std::thread dumper([&] {
    while (!is_ending) {
      if (void* const target = dumped) {
        TheModule().descriptor().dump(null, target);
        ++dumps;
      } else {
        std::this_thread::sleep_for(std::chrono::microseconds(100));
      }
    }
  });
  constexpr int kKinds = 3;
  void* const targets[kKinds] = {nullptr, other_context, context};
  const char* const titles[kKinds] = {"no dump", "dumps of another engine", "dumps of this engine"};
  std::vector<double> medians[kKinds];
  std::vector<double> tails[kKinds];
  for (int round = 0; round < kKinds * kRounds; ++round) {
    const int kind = round % kKinds;
    dumped = targets[kind];
    const std::vector<double> times = TimeReadings(kReadings);
    medians[kind].push_back(Percentile(times, 0.5));
    tails[kind].push_back(Percentile(times, 0.99));
  }
  is_ending = true;
  dumper.join();
  close(null);

  std::printf("\nA reading that is sent, %d rounds each (ns)   median   99th percentile\n",
              kRounds);
  for (int kind = 0; kind < kKinds; ++kind) {
    const auto line = [](const std::vector<double>& values) {
      char text[64];
      std::snprintf(text, sizeof(text), "%.0f (%.0f to %.0f)", Percentile(values, 0.5),
                    Percentile(values, 0.1), Percentile(values, 0.9));
      return std::string(text);
    };
    std::printf("  %-28s %24s %24s\n", titles[kind], line(medians[kind]).c_str(),
                line(tails[kind]).c_str());
  }
  std::printf("  %lld dumps\n", static_cast<long long>(dumps.load()));
}

// How long a rotation event takes while hinge readings are sent, each `pause` after the one before.
// The rotations belong to one case: what the event waits for is the lock alone.
std::vector<double> TimeRotations(std::chrono::microseconds write_time,
                                  std::chrono::microseconds pause, int count) {
  SetWriteTime(write_time);
  std::atomic<bool> is_ending = false;
  std::thread sensor([&is_ending, pause] {
    int angle = 30;
    while (!is_ending) {
      angle = 150 - angle;
      TheHost().HingeAngle(angle);
      if (pause.count() > 0) std::this_thread::sleep_for(pause);
    }
  });
  std::vector<double> times;
  std::minstd_rand random(1);
  std::uniform_int_distribution<int64_t> gap(0, 2 * (write_time + pause).count());
  for (int i = 0; i < count; ++i) {
    std::this_thread::sleep_for(std::chrono::microseconds(gap(random)));
    const auto begin = Clock::now();
    TheHost().Deliver(simulator::Rotate(i % 2 == 0 ? 90 : 0));
    times.push_back(std::chrono::duration<double, std::milli>(Clock::now() - begin).count());
  }
  is_ending = true;
  sensor.join();
  SetWriteTime(std::chrono::microseconds(0));
  return times;
}

void MeasureSlowDsp() {
  std::printf("\nA slow DSP: how long an event of another thread takes (ms)\n");
  std::printf("  %-14s %-34s %7s %7s %7s\n", "a write takes", "hinge readings that are sent",
              "median", "90th", "longest");
  for (const int milliseconds : {1, 10, 100}) {
    const std::chrono::microseconds write_time = std::chrono::milliseconds(milliseconds);
    for (const int pause : {1, 0}) {
      const int count = milliseconds == 100 ? 30 : 200;
      const std::vector<double> times = TimeRotations(write_time, pause * write_time, count);
      std::printf("  %8d ms    %-34s %7.1f %7.1f %7.1f\n", milliseconds,
                  pause == 0 ? "without a pause between writes" : "with as long a pause after each",
                  Percentile(times, 0.5), Percentile(times, 0.9), Percentile(times, 1.0));
    }
  }
}

int Main() {
  android::base::SetMinimumLogSeverity(android::base::FATAL);
  const std::string config = Case("0,90", "0,90,180,270", 0) + Case("91,180", "0,90,180,270", 2);
  void* const other_context = Init(config);
  void* const context = Init(config);
  StartCall();
  MeasureDumps(context, other_context);
  MeasureSlowDsp();
  return 0;
}

}  // namespace

}  // namespace brelmo::tavi::benchmarks

int main() { return brelmo::tavi::benchmarks::Main(); }
