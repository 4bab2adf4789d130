#include <cmath>

#include "console/wording.h"
#include "response/impulse_samples.h"
#include "response/number_text.h"
#include "response/table_lines.h"
#include "response/text_encoding.h"

namespace brelmo::tavi::tools {

namespace {

constexpr const char* kMeaningSign = "//";
constexpr double kLeastRate = 1e3;
constexpr double kGreatestRate = 1e6;

struct HeadLine {
  std::string_view value;
  std::string meaning;  // in lower case; empty for a sample
};

HeadLine Split(std::string_view line) {
  const size_t at = line.find(kMeaningSign);
  if (at == std::string_view::npos) return {TrimBlanks(line), ""};
  return {TrimBlanks(line.substr(0, at)), LowerCase(TrimBlanks(line.substr(at + 2)))};
}

Finding MakeFault(const std::string& file, const TextLine& line, std::string_view part,
                  const std::string& name, const std::string& message, const std::string& cure) {
  Finding finding =
      MakeFinding(name, Severity::kError, std::nullopt, message, "the file is refused; " + cure);
  finding.file = file;
  finding.line = line.number;
  finding.line_text = std::string(line.text);
  finding.column = static_cast<size_t>(part.data() - line.text.data()) + 1;
  finding.length = part.size();
  return finding;
}

// Reads with one decimal sign. The line of the failure, if there is one, tells how far it came.
ImpulseResult ReadWith(const std::string& file, std::string_view text, const NumberFormat& format) {
  ImpulseResult result;
  ImpulseSamples impulse;
  impulse.format = "text";
  double interval = 0.0;
  double length = 0.0;
  LineCursor cursor(text);
  TextLine line;
  const auto fail = [&](std::string_view part, const std::string& name, const std::string& message,
                        const std::string& cure) {
    result.findings.push_back(MakeFault(file, line, part, name, message, cure));
    return result;
  };
  while (cursor.Next(&line)) {
    if (IsBlank(line.text) || IsComment(line.text)) continue;
    const HeadLine head = Split(line.text);
    const auto value = ParseNumber(head.value, format);
    const bool is_sample = head.meaning.empty();
    const auto has = [&head](const char* words) {
      return head.meaning.find(words) != std::string::npos;
    };
    const bool is_length = has("response length") || head.meaning.rfind("length", 0) == 0;
    const bool is_needed = is_sample || has("interval") || has("start time") || is_length;
    if (!value && !is_needed) continue;  // a name, or what nothing here depends on
    if (!value) {
      return fail(head.value, "not-a-number", Quote(head.value) + " is no number",
                  "a sample a line follows the lines of VALUE // meaning");
    }
    if (has("interval")) interval = *value;
    if (has("start time")) impulse.start_seconds = *value;
    if (is_length) length = *value;
    if (!is_sample) continue;
    if (impulse.samples.size() == kMaxImpulseSamples) {
      return fail(head.value, "not-an-impulse-response",
                  "there are more than " + std::to_string(kMaxImpulseSamples) + " samples",
                  "give an impulse response, not a recording");
    }
    impulse.samples.push_back(*value);
  }
  const double rate = interval > 0.0 ? 1.0 / interval : 0.0;
  if (!(rate >= kLeastRate && rate <= kGreatestRate)) {
    result.findings.push_back(MakeFinding(
        "no-data", Severity::kError, std::nullopt, "no line tells the sample interval in seconds",
        "the file is refused; a line such as 2.0833E-5 // Sample interval stands before the "
        "samples"));
    result.findings.back().file = file;
    return result;
  }
  // An interval of a few digits stands for a whole number of samples a second.
  impulse.rate_hz = std::fabs(rate - std::round(rate)) < 0.1 ? std::round(rate) : rate;
  impulse.is_cut = static_cast<double>(impulse.samples.size()) < length;
  result.impulse = std::move(impulse);
  return result;
}

}  // namespace

bool IsImpulseText(std::string_view text) {
  LineCursor cursor(text);
  TextLine line;
  while (cursor.Next(&line)) {
    if (IsBlank(line.text) || IsComment(line.text)) continue;
    const HeadLine head = Split(line.text);
    return !head.meaning.empty() && IsNumber(head.value);
  }
  return false;
}

ImpulseResult ReadImpulseText(const std::string& file, std::string_view text) {
  ImpulseResult point = ReadWith(file, text, {'.', '\0'});
  if (point.impulse) return point;
  ImpulseResult comma = ReadWith(file, text, {',', '\0'});
  if (comma.impulse || comma.findings[0].line > point.findings[0].line) return comma;
  return point;
}

}  // namespace brelmo::tavi::tools
