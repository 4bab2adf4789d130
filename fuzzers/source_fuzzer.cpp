// Any bytes as the source of a tuning: what is promised of one that was taken, and where what was
// refused is found.
#include <cmath>
#include <cstdint>

#include <algorithm>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "build/project.h"
#include "console/finding_json.h"
#include "fuzz_check.h"

namespace brelmo::tavi::fuzz {

namespace {

using tools::ChannelSource;
using tools::Finding;
using tools::FromCorrection;
using tools::FromDataFile;
using tools::FromFilters;
using tools::FromMeasurement;
using tools::PostureSource;
using tools::Project;
using tools::SourcePlace;

struct Reading {
  Project project;
  std::vector<Finding> findings;
};

Reading Read(const std::string& text) {
  tools::TomlSource source(text, "s.toml");
  Reading reading;
  reading.project = ReadProject(source);
  reading.findings = source.Take();
  return reading;
}

void CheckPlace(const SourcePlace& place, const std::vector<std::string_view>& lines) {
  FUZZ_CHECK(place.line >= 1 && place.line <= lines.size());
  FUZZ_CHECK(place.column >= 1);
  FUZZ_CHECK(place.column - 1 + place.length <= lines[place.line - 1].size());
}

void CheckFindings(const std::vector<Finding>& findings,
                   const std::vector<std::string_view>& lines) {
  for (const Finding& finding : findings) {
    FUZZ_CHECK(finding.severity == tools::Severity::kError);
    FUZZ_CHECK_EQ(finding.file, "s.toml");
    FUZZ_CHECK(!finding.name.empty() && !finding.message.empty() && !finding.consequence.empty());
    FUZZ_CHECK(!FindingToJson(finding).dump().empty());  // throws for what is no UTF-8
    if (finding.line == 0) continue;
    CheckPlace({finding.line, finding.column, finding.length}, lines);
    FUZZ_CHECK_EQ(finding.line_text, lines[finding.line - 1]);
  }
}

void CheckChannel(const ChannelSource& channel, const Project& project,
                  const std::vector<std::string_view>& lines) {
  CheckPlace(channel.place, lines);
  if (const auto* measured = std::get_if<FromMeasurement>(&channel.from)) {
    const tools::DesignOptions& design = measured->design;
    FUZZ_CHECK(!measured->file.empty() && !measured->target.empty());
    FUZZ_CHECK(design.rate == project.rate);
    FUZZ_CHECK(design.range.from_hz > 0.0 && design.range.from_hz < design.range.to_hz);
    FUZZ_CHECK(design.max_boost_db >= 0.0 && design.max_cut_db >= 0.0);
    FUZZ_CHECK(design.smoothing >= 1.0 && std::isfinite(design.level_db));
    FUZZ_CHECK(design.taps >= 16 && design.taps <= 512 && design.bands >= 1);
    FUZZ_CHECK(measured->reading.from_hz == design.range.from_hz);
    FUZZ_CHECK(measured->reading.to_hz == design.range.to_hz);
  } else if (const auto* correction = std::get_if<FromCorrection>(&channel.from)) {
    FUZZ_CHECK(!correction->file.empty() && correction->import.rate == project.rate);
    FUZZ_CHECK(correction->import.taps >= 16 && correction->import.taps <= 512);
  } else if (const auto* filters = std::get_if<FromFilters>(&channel.from)) {
    for (const tools::Filter& filter : filters->chain) {
      FUZZ_CHECK(FilterFault(filter, project.rate).empty());
    }
  } else {
    FUZZ_CHECK(!std::get<FromDataFile>(channel.from).file.empty());
  }
}

void CheckProject(const Project& project, const std::vector<std::string_view>& lines) {
  FUZZ_CHECK(project.rate >= 2000.0 && project.rate <= 768000.0);
  std::vector<std::string> names;
  for (const PostureSource& posture : project.postures) {
    names.push_back(posture.name);
    FUZZ_CHECK(!posture.name.empty() && posture.name.find_first_of("/. \n") == std::string::npos);
    for (const SourcePlace& place : {posture.place, posture.hinge_place, posture.rotation_place}) {
      CheckPlace(place, lines);
    }
    for (const ChannelSource& channel : posture.channels) CheckChannel(channel, project, lines);
  }
  std::sort(names.begin(), names.end());
  FUZZ_CHECK(std::adjacent_find(names.begin(), names.end()) == names.end());
}

void Check(const std::string& text) {
  std::vector<std::string_view> lines;
  for (size_t at = 0; at <= text.size();) {
    const size_t end = std::min(text.find('\n', at), text.size());
    lines.push_back(std::string_view(text).substr(at, end - at));
    if (!lines.back().empty() && lines.back().back() == '\r') lines.back().remove_suffix(1);
    at = end + 1;
  }
  const Reading reading = Read(text);
  CheckFindings(reading.findings, lines);
  if (reading.findings.empty()) CheckProject(reading.project, lines);
  if (text.substr(0, 1) == "\xef") return;  // a mark of the encoding stands first
  // A comment before it moves all of it down, and a key that nobody knows is the one thing wrong.
  const Reading moved = Read("# more\n" + text);
  FUZZ_CHECK(moved.findings.size() == reading.findings.size());
  for (size_t i = 0; i < moved.findings.size(); ++i) {
    const Finding& finding = moved.findings[i];
    FUZZ_CHECK_EQ(finding.name, reading.findings[i].name);
    if (reading.findings[i].line == 0) continue;
    FUZZ_CHECK(finding.line == reading.findings[i].line + 1);
    FUZZ_CHECK(finding.column == reading.findings[i].column);
  }
  if (!reading.findings.empty()) return;
  const Reading unknown = Read("postures = 1\n" + text);
  FUZZ_CHECK(unknown.findings.size() == 1);
  FUZZ_CHECK_EQ(unknown.findings[0].name, "unknown-key");
  FUZZ_CHECK(unknown.findings[0].line == 1 && unknown.findings[0].column == 1);
}

}  // namespace

}  // namespace brelmo::tavi::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  brelmo::tavi::fuzz::Check({reinterpret_cast<const char*>(data), size});
  return 0;
}
