#include "check/reading_check.h"

#include <algorithm>
#include <string_view>
#include <unordered_map>

#include "check/known_names.h"
#include "console/wording.h"

namespace brelmo::tavi::tools {

namespace {

using audio::compensation::CaseConfig;
using audio::compensation::CompensationConfig;
using Item = ConfigText::Item;
using Case = ConfigText::Case;

constexpr std::string_view kStrayWhitespace = "\t\r\n";

std::string Replaced(std::string_view text, char from, char to) {
  std::string replaced(text);
  std::replace(replaced.begin(), replaced.end(), from, to);
  return replaced;
}

class ReadingCheck {
 public:
  ReadingCheck(const ConfigText& text, const CompensationConfig& config, PlacedFindings& findings)
      : text_(text), config_(config), findings_(findings) {}

  void Run(bool is_cut_short) {
    for (size_t number = 0; number < config_.cases.size(); ++number) {
      CheckRepeatedNames(number);
      for (const Item& item : text_.cases()[number].items) CheckWhitespace(number, item);
    }
    if (is_cut_short) CheckMalformedItem(config_.cases.size());
    if (!config_.cases.empty()) return;
    Finding finding = MakeFinding(
        "no-cases", Severity::kError, std::nullopt, "the text yields no case",
        std::string("the module reports success at init and hands out nothing: no correction is "
                    "ever sent; ") +
            (is_cut_short ? "mend what ends the reading"
                          : "write a case, such as "
                            "HingeAngle:0,180|LeftChannel:left.txt|RightChannel:right.txt"));
    findings_.Place(finding, {0, text_.text().size()});
    findings_.Put(text_.text().size(), std::move(finding));
  }

 private:
  std::string QuoteAt(Span span) const { return Quote(text_.at(span)); }

  void CheckRepeatedNames(size_t number) {
    const CaseConfig& read = config_.cases[number];
    std::unordered_map<std::string_view, size_t> seen;
    for (const Item& item : text_.cases()[number].items) {
      if (!item.is_pair() || ++seen[text_.at(item.name())] == 1) continue;
      const std::string name(text_.at(item.name()));
      const auto& entries = read.outputs.count(name) != 0 ? read.outputs : read.conditions;
      findings_.Add(item.span, "repeated-name", Severity::kWarning, number,
                    Quote(name) +
                        (seen[text_.at(item.name())] == 2 ? " stands twice" : " stands once more") +
                        " in case " + std::to_string(number),
                    "the module keeps the first value, " + Quote(entries.at(name)) +
                        ", and drops " + QuoteAt(item.value()) + "; leave one of them out");
    }
  }

  void CheckWhitespace(size_t number, const Item& item) {
    for (size_t i = 0; i < item.parts.size(); ++i) {
      const std::string_view part = text_.at(item.parts[i]);
      const size_t at = part.find_first_of(kStrayWhitespace);
      if (at == std::string_view::npos) continue;
      std::string where = "in " + Quote(part);
      if (item.is_pair()) {
        where = i == 0 ? "in the name " + Quote(part) : "in the value of " + QuoteAt(item.name());
      }
      std::string kind = "a line feed";
      std::string cure = "write the text on one line, with a space between two cases";
      if (part[at] == '\t') {
        kind = "a tab";
        cure = "leave it out, or write a space where a case ends";
      } else if (part[at] == '\r') {
        kind = "a carriage return";
        cure = "store the text without carriage returns (Unix line ends)";
      }
      findings_.Add(
          {item.parts[i].offset + at, 1}, "stray-whitespace", Severity::kWarning, number,
          kind.append(" stands ").append(where),
          "the module takes it as part of the text: only the space separates cases; " + cure);
    }
  }

  // The reader has stopped in this case; where, is the first item that is no pair.
  void CheckMalformedItem(size_t number) {
    for (const Item& item : text_.cases()[number].items) {
      CheckWhitespace(number, item);
      if (item.is_pair()) continue;
      const std::string_view text = text_.at(item.span);
      std::string reason = "it has " + Count(item.parts.size(), "part");
      if (text.find(':') == std::string_view::npos) {
        reason = "it has no colon";
      } else if (item.parts.size() == 1) {
        reason = text.front() == ':' ? "it has no name" : "it has no value";
      } else if (item.parts.empty()) {
        reason = "it has neither";
      }
      const size_t count = text_.cases().size();
      std::string lost =
          CasesFrom(number, count) + (number + 1 == count ? " is lost" : " are lost");
      if (number > 0) {
        lost +=
            "; " + CasesFrom(0, number) + " before it " + (number == 1 ? "is read" : "are read");
      }
      findings_.Add(item.span, "malformed-item", Severity::kError, number,
                    Quote(text) + " is not one name and one value: " + reason,
                    "the module stops reading here, and nothing behind this place is checked: " +
                        lost + "; " + CureOfMalformed(number, item));
      return;
    }
  }

  std::string CureOfMalformed(size_t number, const Item& item) const {
    const std::string_view text = text_.at(item.span);
    const std::vector<Item>& items = text_.cases()[number].items;
    const bool has_colon = text.find(':') != std::string_view::npos;
    if (has_colon && item.parts.size() < 2 && &item == &items.back()) {
      if (std::string cure = CureOfSpace(text_, number); !cure.empty()) return cure;
    }
    if (!has_colon && &item == &items.front() && number > 0) {
      if (std::string cure = CureOfSpace(text_, number - 1); !cure.empty()) return cure;
    }
    if (text.find(';') != std::string_view::npos) {
      return "| separates items, a semicolon does not: write " + Quote(Replaced(text, ';', '|'));
    }
    if (!has_colon && text.find('=') != std::string_view::npos) {
      return "write " + Quote(Replaced(text, '=', ':'));
    }
    for (size_t at = 0; (at = text.find(',', at)) != std::string_view::npos; ++at) {
      const std::string_view rest = text.substr(at + 1);
      if (IsKnownName(rest.substr(0, rest.find(':')))) {
        return "| separates items, a comma does not: write " +
               Quote(std::string(text.substr(0, at)) + "|" + std::string(rest));
      }
    }
    if (item.parts.size() > 2 && IsConditionName(text_.at(item.parts[0]))) {
      const size_t name_end = item.parts[0].length + 1;
      return "a comma separates values: write " + Quote(std::string(text.substr(0, name_end)) +
                                                        Replaced(text.substr(name_end), ':', ','));
    }
    if (item.parts.size() > 2) return "write one colon, between a name and its value";
    return "write it as name:value, without a space";
  }

  const ConfigText& text_;
  const CompensationConfig& config_;
  PlacedFindings& findings_;
};

}  // namespace

void CheckReading(const ConfigText& text, const CompensationConfig& config, bool is_cut_short,
                  PlacedFindings& findings) {
  ReadingCheck(text, config, findings).Run(is_cut_short);
}

std::string CureOfSpace(const ConfigText& text, size_t number) {
  if (number + 1 >= text.cases().size()) return "";
  const Case& before = text.cases()[number];
  const Case& behind = text.cases()[number + 1];
  if (text.at(before.span) == "|" || text.at(behind.span) == "|") {
    return "a space ends the case: write | without one on either side";
  }
  if (before.items.empty() || behind.items.empty()) return "";
  const Item& next = behind.items.front();
  const std::string_view rest = text.at(next.span);
  const std::string_view last = text.at(before.items.back().span);
  if (next.is_pair()) {
    // Two items of one case, when it is the other that has this one.
    const auto has_it = [&](const Item& item) {
      return item.is_pair() && text.at(item.name()) == text.at(next.name());
    };
    const bool is_missing = IsKnownName(text.at(next.name())) &&
                            std::none_of(before.items.begin(), before.items.end(), has_it);
    return is_missing ? "a space ends the case: write | before " + Quote(text.at(next.name())) : "";
  }
  if (rest.find(':') != std::string_view::npos || last.find(':') == std::string_view::npos) {
    return "";
  }
  for (const std::string_view channel : kChannelNames) {
    if (last.substr(0, channel.size()) == channel && last.back() != ':') {
      return "a space ends the case, so no file name can have one: rename the file";
    }
  }
  return "a space ends the case: write " + Quote(std::string(last) + std::string(rest));
}

}  // namespace brelmo::tavi::tools
