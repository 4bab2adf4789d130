#include "diagnose/findings.h"

#include <algorithm>

#include "capture/log_record.h"
#include "capture/nearest_response.h"
#include "console/wording.h"

namespace brelmo::tavi::tools {

namespace {

std::string NameKeys(const PostureKeys& keys) {
  const auto indices = [](const std::vector<int>& values) {
    std::vector<std::string> words;
    words.reserve(values.size());
    for (const int value : values) words.push_back(std::to_string(value));
    return (words.size() == 1 ? " index " : " indices ") + Enumerate(words);
  };
  std::string text;
  if (keys.hinge) text += "hinge" + indices(*keys.hinge);
  if (keys.rotation) {
    if (!text.empty()) text += ", ";
    text += "rotation" + indices(*keys.rotation);
  }
  return "the case of " + text;
}

// By the first delivery that has them.
std::string NameResponses(const FieldCase& field, size_t id) {
  const auto& [left, right] = field.story.responses[id];
  const auto& deliveries = field.material.deliveries;
  const auto first = std::find_if(deliveries.begin(), deliveries.end(),
                                  [&, left = left, right = right](const Delivery& delivery) {
                                    return delivery.left == left && delivery.right == right;
                                  });
  std::string text = "the responses of delivery " + std::to_string(first->number);
  if (field.material.files[first->place.file].deliveries < deliveries.size()) {
    text += " of " + Printable(field.material.files[first->place.file].name);
  }
  std::vector<std::string> strange;
  for (const auto& [channel, number] : {std::pair("left", left), std::pair("right", right)}) {
    if (!number) strange.push_back(std::string(channel) + " none");
    if (number && IsFlatResponse(field.material.responses[*number])) {
      strange.push_back(std::string(channel) + " flat");
    }
  }
  return text + (strange.empty() ? "" : " (" + Enumerate(strange) + ")");
}

// Those of a candidate that it can be; several may have the same responses.
std::vector<size_t> CasesOf(const Candidate& candidate, const FieldCase& field, const Life& life,
                            size_t index) {
  if (!life.is_captured) {
    const auto number = candidate.CaseOfKeys(field.material.keys[index]);
    return number ? std::vector<size_t>{*number} : std::vector<size_t>();
  }
  const auto& [left, right] = field.story.responses[index];
  return candidate.CasesOfResponses(left ? &field.material.responses[*left] : nullptr,
                                    right ? &field.material.responses[*right] : nullptr);
}

// Empty when it has no such case.
std::string NameCaseOf(const Candidate& candidate, const FieldCase& field, const Life& life,
                       size_t index) {
  const auto cases = CasesOf(candidate, field, life, index);
  if (cases.size() == 1) return candidate.DescribeCase(cases[0]);
  std::string text;
  for (const size_t number : cases) {
    text += (text.empty() ? "case " : " or ") + std::to_string(number);
  }
  return text;
}

}  // namespace

FieldFinding MakeFieldFinding(const FieldCase& field, const std::string& name, Severity severity,
                              bool is_certain, const std::vector<Place>& evidence,
                              const std::string& message, const std::string& consequence) {
  FieldFinding found;
  found.finding = MakeFinding(name, severity, std::nullopt,
                              (is_certain ? "" : "likely: ") + message, consequence);
  found.is_certain = is_certain;
  found.evidence = evidence;
  if (evidence.empty()) return found;
  const Place& place = evidence.front();
  found.finding.file = field.material.files[place.file].name;
  if (place.line == 0) return found;
  found.finding.line = place.line;
  found.finding.line_text = ReadLineAgain(field.material, place);
  const std::string& line = found.finding.line_text;
  const LogRecord record = ParseLogRecord(line);
  found.finding.column = 1;
  if (!record.message.empty() && record.message.data() >= line.data() &&
      record.message.data() <= line.data() + line.size()) {
    found.finding.column = static_cast<size_t>(record.message.data() - line.data()) + 1;
    found.finding.length = record.message.size();
  }
  return found;
}

std::string DescribePlace(const Material& material, const Place& place) {
  const std::string of = " of " + Printable(material.files[place.file].name);
  if (place.line > 0) return "line " + std::to_string(place.line) + of;
  return "offset " + std::to_string(place.offset) + of;
}

std::string NameCase(const FieldCase& field, const Life& life, CaseId id) {
  if (id == kNoCase) return "no case";
  if (id == kUnknownCase) return "a case that the material does not tell";
  const auto index = static_cast<size_t>(id);
  std::string own =
      life.is_captured ? NameResponses(field, index) : NameKeys(field.material.keys[index]);
  if (field.candidate == nullptr) return own;
  std::string name = NameCaseOf(*field.candidate, field, life, index);
  for (const Candidate* const other : field.equals) {
    const std::string theirs = NameCaseOf(*other, field, life, index);
    if (theirs == name) continue;
    // Of one number, in other postures.
    name.resize(std::min(name.size(), name.find(" (")));
    if (name != theirs.substr(0, theirs.find(" ("))) return own;
  }
  return name.empty() ? own : name;
}

std::optional<size_t> CaseNumberOf(const FieldCase& field, const Life& life, CaseId id) {
  if (field.candidate == nullptr || id < 0) return std::nullopt;
  const auto cases = CasesOf(*field.candidate, field, life, static_cast<size_t>(id));
  const bool is_agreed =
      std::all_of(field.equals.begin(), field.equals.end(), [&](const Candidate* other) {
        return CasesOf(*other, field, life, static_cast<size_t>(id)) == cases;
      });
  return is_agreed && cases.size() == 1 ? std::optional<size_t>(cases[0]) : std::nullopt;
}

std::string NameCaseInShort(const FieldCase& field, const Life& life, CaseId id) {
  const std::string name = NameCase(field, life, id);
  return name.rfind("case ", 0) == 0 ? name.substr(0, name.find(" (")) : name;
}

std::string DescribeDuration(int64_t us) {
  const double seconds = static_cast<double>(us) / 1e6;
  if (seconds < 1) return Format("%.0f ms", seconds * 1000);
  if (seconds < 120) return Format("%.1f s", seconds);
  return std::to_string(us / 60000000) + " min " + std::to_string(us / 1000000 % 60) + " s";
}

}  // namespace brelmo::tavi::tools
