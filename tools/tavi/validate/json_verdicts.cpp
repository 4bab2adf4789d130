#include <cstdio>

#include <nlohmann/json.hpp>

#include "console/json_text.h"
#include "validate/verdict_reporter.h"

namespace brelmo::tavi::tools {

namespace {

using Json = nlohmann::ordered_json;

class JsonVerdicts final : public VerdictReporter {
 public:
  void PutList(const Validations& validations) override {
    for (const auto& [name, holds, run, is_of_the_file] : validations) {
      Put(Json{{"kind", "test"}, {"name", name}, {"holds", holds}});
    }
  }

  void Put(const Validation& validation, const Verdict& verdict) override {
    Json object = {{"kind", "test"},
                   {"name", validation.name},
                   {"holds", validation.holds},
                   {"verdict", VerdictName(verdict.kind)},
                   {"seconds", verdict.seconds},
                   {"faults", verdict.faults}};
    if (!verdict.activity.empty()) object["during"] = verdict.activity;
    if (!verdict.output.empty()) object["output"] = Split(verdict.output, '\n');
    Put(object);
  }

  void PutTotals(const std::string& module, const Totals& totals) override {
    Json object = {{"kind", "total"},           {"module", module},
                   {"held", totals.held},       {"failed", totals.failed},
                   {"not_run", totals.not_run}, {"seconds", totals.seconds}};
    if (totals.not_run > 0) object["why_not_run"] = totals.why_not_run;
    Put(object);
  }

 private:
  static void Put(const Json& object) {
    std::printf("%s\n", JsonText(object).c_str());
    std::fflush(stdout);
  }
};

}  // namespace

std::unique_ptr<VerdictReporter> MakeJsonVerdicts() { return std::make_unique<JsonVerdicts>(); }

}  // namespace brelmo::tavi::tools
