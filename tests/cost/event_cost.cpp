// Delivers a number of events of one kind to the loaded module, for a program that counts
// instructions from outside: what the events cost is what a run with more of them costs more.
//   event_cost KIND COUNT     KIND: switch-case, same-case, same-angle, many-cases
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include <android-base/logging.h>

#include "bench_device.h"

namespace brelmo::tavi::benchmarks {

namespace {

constexpr int kManyCases = 400;

// Readings that the events go back and forth between.
const std::map<std::string, std::pair<int, int>> kKinds = {
    {"switch-case", {30, 120}},
    {"same-case", {30, 31}},
    {"same-angle", {30, 30}},
    {"many-cases", {120, 121}},
};

int Main(int argc, char** argv) {
  const auto kind = argc == 3 ? kKinds.find(argv[1]) : kKinds.end();
  if (kind == kKinds.end()) {
    std::fprintf(stderr, "usage: event_cost KIND COUNT\n");
    return 2;
  }
  const long count = std::strtol(argv[2], nullptr, 10);
  android::base::SetMinimumLogSeverity(android::base::FATAL);
  const int unmatched_cases = kind->first == "many-cases" ? kManyCases - 1 : 1;
  std::string config;
  for (int i = 0; i < unmatched_cases; ++i) config += Case("0,90", "0,90,180,270", 0);
  Init(config + Case("91,180", "0,90,180,270", 2));
  StartCall();
  const auto [first, second] = kind->second;
  for (long i = 0; i < count; ++i) TheHost().HingeAngle(i % 2 == 0 ? first : second);
  return 0;
}

}  // namespace

}  // namespace brelmo::tavi::benchmarks

int main(int argc, char** argv) { return brelmo::tavi::benchmarks::Main(argc, argv); }
