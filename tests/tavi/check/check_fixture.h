// A configuration check with its data files, and what is held of every finding.
#pragma once

#include <algorithm>
#include <map>
#include <set>
#include <string>

#include <gmock/gmock.h>

#include "check/check_config.h"
#include "data_folder.h"
#include "process/scratch_folder.h"

namespace brelmo::tavi::test {

inline std::string Repeat(const std::string& text, int count) {
  std::string all;
  for (int i = 0; i < count; ++i) all += text;
  return all;
}

inline const std::map<std::string, std::string> kSeverities = {
    {"malformed-item", "error"},
    {"no-cases", "error"},
    {"condition-count", "error"},
    {"missing-output", "error"},
    {"unknown-condition", "error"},
    {"no-conditions", "error"},
    {"bad-value", "error"},
    {"bad-range", "error"},
    {"bad-rotation", "error"},
    {"cases-ignored", "error"},
    {"repeated-name", "warning"},
    {"stray-whitespace", "warning"},
    {"flat-response", "error"},
    {"empty-response", "error"},
    {"bin-count", "warning"},
    {"not-finite", "error"},
    {"complex-edge-bin", "warning"},
    {"high-gain", "warning"},
    {"wider-than-declared", "warning"},
    {"narrower-than-declared", "warning"},
    {"alternating-cases", "warning"},
    {"unreachable-case", "warning"},
    {"uncovered-posture", "warning"},
    {"before-first-hinge-reading", "note"},
    {"endless-file", "error"},
    {"null-character", "warning"},
};

inline const std::set<std::string> kOfFilters = {"time-aliasing", "pre-ringing", "steep-bin",
                                                 "channel-delay", "level-jump",  "same-file",
                                                 "unused-file"};

class CheckTest : public testing::Test {
 protected:
  CheckTest() { files_.Write("good.txt", Repeat("1,0\n", 257)); }

  tools::CheckResult Check(const std::string& text) {
    tools::CheckResult result = tools::CheckConfig(text, options_);
    // What files are as filters, and beside each other, has tests of its own.
    auto& all = result.findings;
    all.erase(std::remove_if(all.begin(), all.end(),
                             [](const tools::Finding& finding) {
                               return kOfFilters.count(finding.name) != 0;
                             }),
              all.end());
    for (const tools::Finding& finding : result.findings) {
      EXPECT_EQ(tools::SeverityName(finding.severity), kSeverities.at(finding.name));
      EXPECT_THAT(finding.message, testing::Not(testing::IsEmpty()));
      EXPECT_THAT(finding.consequence, testing::HasSubstr("the module"));
    }
    return result;
  }

  tools::ScratchFolder files_;
  simulator::DataFolder folder_{files_.path()};
  tools::CheckOptions options_;
};

// The names, without what nearly every configuration here has.
inline std::string Names(const tools::CheckResult& result) {
  std::string names;
  for (const tools::Finding& finding : result.findings) {
    if (finding.name == "uncovered-posture") continue;
    if (finding.name == "before-first-hinge-reading") continue;
    names += (names.empty() ? "" : " ") + finding.name;
  }
  return names;
}

inline const tools::Finding& Only(const tools::CheckResult& result, const std::string& name) {
  const auto is_it = [&name](const tools::Finding& finding) { return finding.name == name; };
  EXPECT_EQ(std::count_if(result.findings.begin(), result.findings.end(), is_it), 1) << name;
  static const tools::Finding none;
  const auto found = std::find_if(result.findings.begin(), result.findings.end(), is_it);
  return found == result.findings.end() ? none : *found;
}

}  // namespace brelmo::tavi::test
