#include "diagnose/line_order.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <set>
#include <tuple>

#include "host_event.h"

namespace brelmo::tavi::tools {

namespace {

constexpr int64_t kWindowUs = 1500;  // a millisecond and its rounding
constexpr size_t kWindowLines = 24;
// Without times, lines so near to each other may have been exchanged.
constexpr size_t kWindowLinesWithoutTime = 4;

// The part of the module's state that says which line can come next.
class Expectation {
 public:
  explicit Expectation(bool is_beginning = true)
      : is_beginning_(is_beginning), knows_scenario_(!is_beginning) {}

  // Whether the line follows from what came before; the host's lines always do.
  bool Fits(const LogEntry& entry) const {
    // Of a log that begins late any line can be the first.
    if (is_beginning_ && IsOfCall(entry)) return true;
    if (IsCaseOutcome(entry.event)) return is_outcome_due_;
    if (is_outcome_due_) return !IsStatus(entry.event) && !IsCase(entry.event) && !IsInit(entry);
    if (IsStatus(entry.event)) return told_.count(entry.thread) != 0;
    if (entry.event == LogEvent::kCaseTaken) return is_case_due_;
    if (entry.event == LogEvent::kCaseChanged) return current_ < 0 || current_ == entry.numbers[0];
    if (entry.event == LogEvent::kRawDataSet) return is_file_refused_;
    return true;
  }

  bool IsOutcomeDue() const { return is_outcome_due_; }

  void Take(const LogEntry& entry) {
    is_beginning_ = is_beginning_ && !IsOfCall(entry) && !IsInit(entry);
    if (IsCaseOutcome(entry.event)) is_outcome_due_ = false;
    if (IsToldByHost(entry.event) && entry.numbers[0] != simulator::kScreenRotated) {
      told_.insert(entry.thread);
    }
    if (IsFileFault(entry.event)) is_file_refused_ = true;
    if (entry.event == LogEvent::kRawDataSet) is_file_refused_ = false;
    if (IsStatus(entry.event)) {
      told_.erase(entry.thread);
      is_outcome_due_ = false;
      is_case_due_ = !knows_scenario_ || (!is_case_due_ && current_ < 0);
      current_ = -1;
    }
    if (IsCase(entry.event)) {
      current_ = entry.numbers[entry.event == LogEvent::kCaseTaken ? 0 : 1];
      is_outcome_due_ = true;
      is_case_due_ = false;
      knows_scenario_ = true;
    }
    if (entry.event == LogEvent::kInitialized) *this = Expectation(false);
  }

 private:
  static bool IsOfCall(const LogEntry& entry) {
    return IsStatus(entry.event) || IsCase(entry.event) || IsCaseOutcome(entry.event);
  }
  static bool IsInit(const LogEntry& entry) {
    return IsOfInit(entry.event) || entry.event == LogEvent::kInitialized;
  }

  std::set<int> told_;  // threads on which something of the scenario was told since the last status
  bool is_beginning_;   // nothing of a call has come yet
  bool knows_scenario_;  // whether it is on
  bool is_outcome_due_ = false;
  bool is_case_due_ = false;
  bool is_file_refused_ = false;
  int current_ = -1;  // the case taken last; -1 when not known
};

bool IsNear(const LogEntry& first, const LogEntry& later) {
  // Behind a jump of the clock nothing is near.
  return later.clock == first.clock && std::abs(later.us - first.us) <= kWindowUs;
}

// Whether the lines of init from `i` on have an end of their own.
bool AreOfNextInit(const std::vector<LogEntry>& entries, const std::vector<uint32_t>& numbers,
                   size_t i) {
  const auto event = [&](size_t at) { return entries[numbers[at]].event; };
  while (i < numbers.size() && IsOfInit(event(i)) && event(i) != LogEvent::kInitialized) ++i;
  return i < numbers.size() && event(i) == LogEvent::kInitialized;
}

// Whether one of the lines up to `end` can be what line `i` follows from. Where the log begins, or
// lines are missing, there is none, and no order is better than that of the log.
bool HasCause(const std::vector<LogEntry>& entries, const std::vector<uint32_t>& numbers, size_t i,
              size_t end, const Expectation& expectation) {
  const LogEntry& line = entries[numbers[i]];
  int cases = 0;  // less outcomes, of which each has one
  bool is_told = false;
  bool has_status = false;
  for (size_t k = i + 1; k < end; ++k) {
    const LogEntry& later = entries[numbers[k]];
    cases += static_cast<int>(IsCase(later.event)) - static_cast<int>(IsCaseOutcome(later.event));
    is_told = is_told || (IsToldByHost(later.event) && later.thread == line.thread);
    has_status = has_status || IsStatus(later.event);
  }
  if (IsCaseOutcome(line.event)) return cases > 0;
  if (expectation.IsOutcomeDue()) return true;
  if (IsStatus(line.event)) return is_told;
  return line.event != LogEvent::kCaseTaken || has_status;
}

// Which of the lines up to `end` belongs where line `i` stands: `i` when none fits better.
size_t FindNext(const std::vector<LogEntry>& entries, const std::vector<uint32_t>& numbers,
                size_t i, size_t end, const Expectation& expectation) {
  const bool is_init_end = entries[numbers[i]].event == LogEvent::kInitialized;
  size_t told = i;
  bool has_status = IsStatus(entries[numbers[i]].event);
  for (size_t k = i + 1; k < end; ++k) {
    const LogEntry& later = entries[numbers[k]];
    if (is_init_end) {
      // Without times they may as well be of the next init.
      if (!IsOfInit(later.event) || later.clock == ClockKind::kNone) break;
      if (AreOfNextInit(entries, numbers, k)) break;
      if (expectation.Fits(later)) return k;
      continue;
    }
    has_status = has_status || IsStatus(later.event);
    if (!IsToldByHost(later.event)) {
      if (expectation.Fits(later)) return k;
    } else if (told == i && later.numbers[0] != simulator::kScreenRotated &&
               later.thread == entries[numbers[i]].thread) {
      told = k;
    }
  }
  // A status needs something that the host told.
  return has_status ? told : i;
}

// Takes the lines of `later` that `lines` has, too, out of it: logs of one device overlap.
size_t DropRepeated(const Material& material, const std::vector<uint32_t>& lines,
                    std::vector<uint32_t>& later) {
  const auto key = [&material](uint32_t number) {
    const LogEntry& entry = material.entries[number];
    return std::make_tuple(entry.us, entry.thread, entry.event, entry.numbers[0], entry.numbers[1]);
  };
  std::map<decltype(key(0)), size_t> counts;
  for (const uint32_t number : lines) ++counts[key(number)];
  const auto is_repeated = [&](uint32_t number) {
    const auto found = counts.find(key(number));
    if (found == counts.end() || found->second == 0) return false;
    --found->second;
    return true;
  };
  const size_t before = later.size();
  later.erase(std::remove_if(later.begin(), later.end(), is_repeated), later.end());
  return before - later.size();
}

// Puts `later` between the others by their times; each keeps its order.
std::vector<uint32_t> MergeByTime(const Material& material, const std::vector<uint32_t>& lines,
                                  const std::vector<uint32_t>& later) {
  std::vector<uint32_t> merged;
  merged.reserve(lines.size() + later.size());
  auto next = lines.begin();
  for (const uint32_t number : later) {
    while (next != lines.end() && material.entries[*next].us <= material.entries[number].us) {
      merged.push_back(*next++);
    }
    merged.push_back(number);
  }
  merged.insert(merged.end(), next, lines.end());
  return merged;
}

}  // namespace

std::vector<std::vector<uint32_t>> LinesByProcess(const Material& material,
                                                  size_t& repeated_lines) {
  // A process has one number, and logs that have none, or other clocks, are not put together.
  std::map<std::tuple<int, int, ClockKind>, std::map<uint32_t, std::vector<uint32_t>>> groups;
  for (uint32_t i = 0; i < material.entries.size(); ++i) {
    const LogEntry& entry = material.entries[i];
    const bool has_ids = entry.process >= 0 && entry.clock != ClockKind::kNone;
    groups[{has_ids ? -1 : static_cast<int>(entry.file), entry.process,
            has_ids ? entry.clock : ClockKind::kNone}][entry.file]
        .push_back(i);
  }
  std::vector<std::vector<uint32_t>> result;
  for (auto& [key, by_file] : groups) {
    std::vector<std::vector<uint32_t>> files;
    for (auto& [file, numbers] : by_file) files.push_back(std::move(numbers));
    const auto is_earlier = [&material](const auto& a, const auto& b) {
      return material.entries[a.front()].us < material.entries[b.front()].us;
    };
    std::stable_sort(files.begin(), files.end(), is_earlier);
    std::vector<uint32_t> lines = std::move(files.front());
    for (size_t i = 1; i < files.size(); ++i) {
      repeated_lines += DropRepeated(material, lines, files[i]);
      lines = MergeByTime(material, lines, files[i]);
    }
    result.push_back(std::move(lines));
  }
  std::stable_sort(result.begin(), result.end(), [&material](const auto& a, const auto& b) {
    return material.entries[a.front()].us < material.entries[b.front()].us;
  });
  return result;
}

void PutInOrder(const Material& material, std::vector<uint32_t>& numbers,
                std::vector<uint32_t>& clock_jumps) {
  const auto& entries = material.entries;
  // Where times are finer than what the logger mixes up, they tell.
  for (size_t i = 1; i < numbers.size(); ++i) {
    const LogEntry& entry = entries[numbers[i]];
    if (entry.clock == ClockKind::kNone) continue;
    for (size_t k = i; k > 0; --k) {
      const LogEntry& before = entries[numbers[k - 1]];
      const int64_t back = before.us - entry.us;
      if (before.clock != entry.clock || back <= 0) break;
      if (back > kWindowUs) {
        if (k == i) clock_jumps.push_back(numbers[i]);
        break;
      }
      std::swap(numbers[k], numbers[k - 1]);
    }
  }

  Expectation expectation;
  for (size_t i = 0; i < numbers.size(); ++i) {
    const LogEntry& first = entries[numbers[i]];
    const bool is_init_end = first.event == LogEvent::kInitialized;
    if (is_init_end || !expectation.Fits(first)) {
      const bool has_time = first.clock != ClockKind::kNone;
      const size_t reach =
          std::min(numbers.size(), i + 1 + (has_time ? kWindowLines : kWindowLinesWithoutTime));
      size_t end = i + 1;
      while (end < reach && (!has_time || IsNear(first, entries[numbers[end]]))) ++end;
      const size_t next = is_init_end || HasCause(entries, numbers, i, end, expectation)
                              ? FindNext(entries, numbers, i, end, expectation)
                              : i;
      if (next != i) {
        std::rotate(numbers.begin() + static_cast<ptrdiff_t>(i),
                    numbers.begin() + static_cast<ptrdiff_t>(next),
                    numbers.begin() + static_cast<ptrdiff_t>(next) + 1);
      }
    }
    expectation.Take(entries[numbers[i]]);
  }
}

}  // namespace brelmo::tavi::tools
