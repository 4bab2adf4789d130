#include "ratio_table.h"

#include <algorithm>
#include <cstdio>

namespace brelmo::tavi::benchmarks {

namespace {

struct Spread {
  double median;
  double quartile_range;  // between the quartiles, as a part of the median
};

Spread SpreadOf(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const double median = values[values.size() / 2];
  return {median, (values[values.size() * 3 / 4] - values[values.size() / 4]) / median};
}

}  // namespace

void RatioTable::ReportRuns(const std::vector<Run>& runs) {
  for (const Run& run : runs) {
    if (run.error_occurred) {
      has_error_ = true;
      std::printf("%s: %s\n", run.benchmark_name().c_str(), run.error_message.c_str());
    } else if (run.run_type == Run::RT_Iteration) {
      // CPU time: what other processes take away is not the module's.
      const std::string name = run.run_name.function_name;
      times_[name].push_back(run.GetAdjustedCPUTime());
    }
  }
}

bool RatioTable::Print() const {
  std::printf("%-18s %14s %14s %7s %6s   %s\n", "", "module", "bare", "ratio", "aim",
              "spread of module, bare");
  for (const auto& [name, aim] : aims_) {
    const auto module = times_.find(name + "/module");
    const auto bare = times_.find(name + "/bare");
    if (module == times_.end() || bare == times_.end()) continue;
    const Spread with = SpreadOf(module->second);
    const Spread without = SpreadOf(bare->second);
    std::printf("%-18s %11.1f ns %11.1f ns %7.2f %6.1f   %2.0f %%, %2.0f %%\n", name.c_str(),
                with.median, without.median, with.median / without.median, aim,
                100 * with.quartile_range, 100 * without.quartile_range);
  }
  return !has_error_;
}

}  // namespace brelmo::tavi::benchmarks
