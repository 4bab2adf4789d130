#include "response/table_columns.h"

#include <algorithm>
#include <charconv>
#include <initializer_list>
#include <string_view>

#include "console/wording.h"
#include "response/text_encoding.h"

namespace brelmo::tavi::tools {

namespace {

enum class Quantity { kFrequency, kMagnitude, kPhase, kOther };

bool StartsWithAny(std::string_view text, std::initializer_list<std::string_view> beginnings) {
  return std::any_of(beginnings.begin(), beginnings.end(), [text](std::string_view beginning) {
    return text.substr(0, beginning.size()) == beginning;
  });
}

// What stands in brackets, in lower case.
std::string UnitOf(const std::string& name) {
  const size_t begin = name.find_first_of("([");
  if (begin == std::string::npos) return "";
  const size_t end = std::min(name.find_first_of(")]", begin), name.size());
  return LowerCase(TrimBlanks(std::string_view(name).substr(begin + 1, end - begin - 1)));
}

Quantity QuantityOf(const std::string& name) {
  const std::string lower = LowerCase(name);
  const std::string unit = UnitOf(name);
  if (StartsWithAny(lower, {"freq", "hz", "khz"}) || lower == "f" ||
      StartsWithAny(lower, {"f ", "f(", "f["})) {
    return Quantity::kFrequency;
  }
  if (StartsWithAny(lower, {"phase", "deg", "arg"}) || StartsWithAny(unit, {"deg", "rad", "°"})) {
    return Quantity::kPhase;
  }
  if (StartsWithAny(lower, {"spl", "mag", "gain", "ampl", "level", "raw"}) ||
      lower.find("db") != std::string::npos) {
    return Quantity::kMagnitude;
  }
  return Quantity::kOther;
}

Finding MakeFault(const std::string& name, const std::string& message,
                  const std::string& consequence) {
  return MakeFinding(name, Severity::kError, std::nullopt, message,
                     "the file is refused; " + consequence);
}

std::string List(const std::vector<std::string>& names, size_t count) {
  if (names.empty()) return Count(count, "column");
  std::vector<std::string> labels;
  for (size_t i = 0; i < names.size(); ++i) {
    labels.push_back(std::to_string(i + 1) + " " + Quote(names[i]));
  }
  return "columns " + Enumerate(labels);
}

const char* const kColumnCure =
    "give --column FREQUENCY,MAGNITUDE or --column FREQUENCY,MAGNITUDE,PHASE, by name or number";

// Where `wanted` stands: a number from 1 on, or a name in any case of its letters.
std::optional<size_t> FindColumn(const std::string& wanted, const std::vector<std::string>& names,
                                 size_t count) {
  size_t number = 0;
  const char* const end = wanted.data() + wanted.size();
  const auto [stop, error] = std::from_chars(wanted.data(), end, number);
  if (error == std::errc() && stop == end) {
    if (number < 1 || number > count) return std::nullopt;
    return number - 1;
  }
  std::optional<size_t> found;
  for (size_t i = 0; i < names.size(); ++i) {
    if (LowerCase(names[i]) != LowerCase(wanted)) continue;
    if (found) return std::nullopt;  // a name that stands twice
    found = i;
  }
  return found;
}

std::variant<ColumnChoice, Finding> ChooseWanted(const std::vector<std::string>& names,
                                                 size_t count,
                                                 const std::vector<std::string>& wanted) {
  std::vector<size_t> found;
  for (const std::string& name : wanted) {
    const auto column = FindColumn(name, names, count);
    if (!column || std::find(found.begin(), found.end(), *column) != found.end()) {
      return MakeFault("unknown-column",
                       "--column " + Quote(name) + (column ? " is named twice" : " names none") +
                           " of the file's " + List(names, count),
                       "name columns of the header that stand there once, or count them from 1");
    }
    found.push_back(*column);
  }
  if (found.size() < 2 || found.size() > 3) {
    return MakeFault("unknown-column", "--column names " + Count(found.size(), "column"),
                     kColumnCure);
  }
  return ColumnChoice{found[0], found[1],
                      found.size() > 2 ? std::optional<size_t>(found[2]) : std::nullopt};
}

std::variant<ColumnChoice, Finding> ChooseNamed(const std::vector<std::string>& names) {
  std::vector<size_t> of[4];
  for (size_t i = 0; i < names.size(); ++i) {
    of[static_cast<size_t>(QuantityOf(names[i]))].push_back(i);
  }
  const auto& frequencies = of[static_cast<size_t>(Quantity::kFrequency)];
  auto magnitudes = of[static_cast<size_t>(Quantity::kMagnitude)];
  const auto& phases = of[static_cast<size_t>(Quantity::kPhase)];
  const auto& others = of[static_cast<size_t>(Quantity::kOther)];
  if (magnitudes.empty() && others.size() == 1) magnitudes = others;
  if (frequencies.size() != 1 || magnitudes.size() != 1 || phases.size() > 1) {
    return MakeFault("several-curves",
                     "the " + List(names, names.size()) +
                         " do not tell one frequency, one magnitude and one phase at most",
                     kColumnCure);
  }
  return ColumnChoice{frequencies[0], magnitudes[0],
                      phases.empty() ? std::nullopt : std::optional<size_t>(phases[0])};
}

// That the header names another unit than the one in which the values are taken.
std::optional<Finding> UnitFault(const std::vector<std::string>& names,
                                 const ColumnChoice& choice) {
  const auto fault = [&](size_t column, const char* unit) {
    return MakeFault("column-unit",
                     "column " + ColumnLabel(names, column) + " is not in " + std::string(unit),
                     std::string("values are taken in Hz, dB and degrees: export it so"));
  };
  const std::string& frequency = names[choice.frequency];
  const std::string unit = UnitOf(frequency);
  if (StartsWithAny(LowerCase(frequency), {"khz"}) || StartsWithAny(unit, {"khz", "mhz", "rad"})) {
    return fault(choice.frequency, "Hz");
  }
  if (StartsWithAny(UnitOf(names[choice.magnitude]), {"lin", "pa", "v", "ohm", "%", "w", "1"})) {
    return fault(choice.magnitude, "dB");
  }
  if (choice.phase && StartsWithAny(UnitOf(names[*choice.phase]), {"rad", "s", "ms"})) {
    return fault(*choice.phase, "degrees");
  }
  return std::nullopt;
}

}  // namespace

bool IsFrequencyName(const std::string& name) { return QuantityOf(name) == Quantity::kFrequency; }

std::variant<ColumnChoice, Finding> ChooseColumns(const std::vector<std::string>& names,
                                                  size_t count,
                                                  const std::vector<std::string>& wanted) {
  std::variant<ColumnChoice, Finding> result;
  const bool is_told = std::any_of(names.begin(), names.end(), [](const std::string& name) {
    return QuantityOf(name) != Quantity::kOther;
  });
  if (!wanted.empty()) {
    result = ChooseWanted(names, count, wanted);
  } else if (is_told) {
    result = ChooseNamed(names);
  } else if (count > 3) {
    return MakeFault("several-curves",
                     "the " + List(names, count) + " have no names that tell which one is meant",
                     kColumnCure);
  } else {
    result = ColumnChoice{0, 1, count > 2 ? std::optional<size_t>(2) : std::nullopt};
  }
  if (const auto* choice = std::get_if<ColumnChoice>(&result);
      choice != nullptr && !names.empty()) {
    if (auto fault = UnitFault(names, *choice)) return *fault;
  }
  return result;
}

std::string ColumnLabel(const std::vector<std::string>& names, size_t column) {
  const std::string number = std::to_string(column + 1);
  return column < names.size() ? number + " (" + Printable(names[column]) + ")" : number;
}

}  // namespace brelmo::tavi::tools
