// Any bytes as a scenario file.
#include <algorithm>
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "fuzz_check.h"
#include "scenario/scenario.h"

namespace brelmo::tavi::fuzz {

namespace {

using tools::Step;

void Check(const std::string& text) {
  const auto last_line = static_cast<int>(std::count(text.begin(), text.end(), '\n')) + 1;
  std::vector<Step> steps;
  try {
    std::istringstream input(text);
    steps = tools::ParseScenario(input);
  } catch (const tools::ScenarioError& error) {
    FUZZ_CHECK(1 <= error.line() && error.line() <= last_line);
    FUZZ_CHECK(error.what()[0] != '\0');
    return;
  }
  int line = 0;
  for (const Step& step : steps) {
    FUZZ_CHECK(line < step.line && step.line <= last_line);
    line = step.line;
    // What a step is printed as is that step.
    const auto again = tools::ParseStep(step.text, line);
    FUZZ_CHECK(again.has_value());
    FUZZ_CHECK_EQ(again->text, step.text);
    FUZZ_CHECK(again->action.index() == step.action.index());
    if (const auto* const wait = std::get_if<tools::WaitStep>(&step.action)) {
      FUZZ_CHECK(wait->time.count() >= 0 && wait->time <= std::chrono::hours(1));
    } else if (const auto* const dsp = std::get_if<tools::DspStep>(&step.action)) {
      FUZZ_CHECK(dsp->count >= 0);
      FUZZ_CHECK((dsp->code != 0) == (dsp->what == tools::DspStep::What::kRefuse));
    }
  }
}

}  // namespace

}  // namespace brelmo::tavi::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  brelmo::tavi::fuzz::Check({reinterpret_cast<const char*>(data), size});
  return 0;
}
