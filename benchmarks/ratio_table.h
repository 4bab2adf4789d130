// A reporter that sets each "NAME/module" beside its "NAME/bare" and prints the ratios.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

namespace brelmo::tavi::benchmarks {

class RatioTable : public benchmark::BenchmarkReporter {
 public:
  // The names in the order of the table, each with the ratio that it should not exceed.
  explicit RatioTable(std::vector<std::pair<std::string, double>> aims) : aims_(std::move(aims)) {}

  bool ReportContext(const Context& /*context*/) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override;
  // False when a benchmark failed.
  bool Print() const;

 private:
  std::vector<std::pair<std::string, double>> aims_;
  bool has_error_ = false;
  std::map<std::string, std::vector<double>> times_;  // ns an iteration, one for each repetition
};

}  // namespace brelmo::tavi::benchmarks
