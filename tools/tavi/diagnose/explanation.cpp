// How much of the material a candidate explains.
#include <algorithm>
#include <map>
#include <set>

#include "diagnose/candidate.h"
#include "diagnose/posture_track.h"

namespace brelmo::tavi::tools {

namespace {

class Explainer {
 public:
  Explainer(const Candidate& candidate, const Material& material, const Story& story)
      : candidate_(candidate), material_(material), story_(story) {}

  Explanation Run() {
    for (const Life& life : story_.lives) {
      ExplainInit(life);
      ExplainEvents(life);
    }
    for (const auto& [file, dump] : material_.dumps) ExplainDump(file, dump);
    for (const Delivery& delivery : material_.deliveries) ExplainDelivery(delivery);
    return result_;
  }

 private:
  void Count(bool is_explained, const Place& place, const std::string& reason, bool is_hard) {
    ++result_.total;
    if (is_explained) {
      ++result_.explained;
      return;
    }
    result_.is_refuted = result_.is_refuted || is_hard;
    if (!result_.first_against) result_.first_against = {place, reason};
  }
  Place PlaceOfEntry(uint32_t number) const { return tools::PlaceOfEntry(material_, number); }

  LogMessage MessageOf(const LogEntry& entry) const {
    LogMessage message;
    message.event = entry.event;
    message.numbers[0] = entry.numbers[0];
    message.numbers[1] = entry.numbers[1];
    const auto& forms = LogLineForms();
    const auto form = std::find_if(forms.begin(), forms.end(), [&entry](const LogLineForm& one) {
      return one.event == entry.event;
    });
    if (form != forms.end() && form->arguments == LogArguments::kText) {
      message.text = material_.texts[static_cast<size_t>(entry.numbers[0])];
      message.numbers[0] = 0;
    }
    return message;
  }

  void ExplainInit(const Life& life) {
    std::multiset<std::string> expected(candidate_.init_lines().begin(),
                                        candidate_.init_lines().end());
    // What stays unread of a data folder is read failures and sizes only.
    const bool is_recovered = candidate_.source().is_recovered;
    for (const uint32_t number : life.init) {
      const LogEntry& entry = material_.entries[number];
      const Place place = PlaceOfEntry(number);
      if (entry.event == LogEvent::kInitialized) {
        const bool has_case = !candidate_.cases().empty() || !candidate_.init_lines().empty();
        Count(has_case && (expected.empty() || is_recovered), place,
              "init ends without " + std::to_string(expected.size()) +
                  " of the lines that the configuration makes it log",
              !has_case);
      } else if (entry.event == LogEvent::kInvalidParameters) {
        const std::string& text = candidate_.source().text;
        const LogMessage message = MessageOf(entry);
        Count(candidate_.cases().empty() && text.substr(0, message.text.size()) == message.text,
              place, "the module was given another text", true);
      } else if (IsWithin(entry.event, LogEvent::kNoMemory, LogEvent::kNoCommonClient)) {
        Count(true, place, "", false);
      } else {
        const auto found = expected.find(InitLineText(MessageOf(entry)));
        const bool is_expected = found != expected.end();
        if (is_expected) expected.erase(found);
        const bool is_of_files = IsFileFault(entry.event) || entry.event == LogEvent::kRawDataSet;
        Count(is_expected || (is_recovered && is_of_files), place,
              "init does not log that with this configuration", !is_of_files);
      }
    }
  }

  void ExplainEvents(const Life& life) {
    if (life.is_captured) return;  // by its deliveries
    const PostureTrack track =
        TrackPostures(PostureWalk(candidate_, material_, story_, life), life, false);
    for (size_t i = 0; i < life.events.size(); ++i) {
      const StoryEvent& event = life.events[i];
      const Place place = PlaceOf(material_, event);
      if (event.kind != StoryEvent::Kind::kCase) {
        Count(true, place, "", false);
        continue;
      }
      const bool has_line = event.outcome_entry != event.entry;
      if (has_line) ExplainKeys(event, place, track.is_possible[i]);
      if (event.outcome_entry == UINT32_MAX) continue;
      ExplainOutcome(event, PlaceOfEntry(event.outcome_entry));
    }
  }

  void ExplainKeys(const StoryEvent& event, const Place& place, bool is_possible) {
    for (const CaseId id : {event.from, event.to}) {
      if (id < 0) continue;
      if (!candidate_.CaseOfKeys(material_.keys[static_cast<size_t>(id)])) {
        Count(false, place, "the configuration has no case with these keys", true);
        return;
      }
    }
    Count(is_possible, place, "in no posture does the module take this case then", false);
  }

  void ExplainOutcome(const StoryEvent& event, const Place& place) {
    const auto& cases = candidate_.cases();
    std::set<size_t> sizes;
    for (size_t i = 0; i < cases.size(); ++i) {
      const bool is_it =
          event.to < 0 || cases[i].keys == material_.keys[static_cast<size_t>(event.to)];
      if (is_it) sizes.insert(cases[i].delivery_size());
    }
    bool is_explained = true;
    if (!candidate_.source().is_recovered && !sizes.empty()) {
      if (event.outcome == LogEvent::kWriteAccepted) {
        is_explained = sizes.count(static_cast<size_t>(event.bytes)) != 0;
      } else if (event.outcome == LogEvent::kNoValidData) {
        is_explained = sizes.count(0) != 0;
      }
    }
    Count(is_explained, place, "the case's delivery has another size", false);
  }

  void ExplainDump(uint32_t file, const Dump& dump) {
    const Place place = {file, dump.line, 0};
    const auto& cases = candidate_.cases();
    if (dump.is_complete) {
      Count(dump.cases.size() == cases.size(), place,
            "the dump has " + std::to_string(dump.cases.size()) + " cases, the configuration " +
                std::to_string(cases.size()),
            true);
    }
    for (size_t i = 0; dump.is_complete && i < std::min(dump.cases.size(), cases.size()); ++i) {
      const DumpCase& one = dump.cases[i];
      const std::string name = "case " + std::to_string(i) + " of the dump has other ";
      Count(one.keys == cases[i].keys, place, name + "conditions", true);
      for (const DumpOutput& output : one.outputs) {
        const CandidateOutput& own = output.type == 0 ? cases[i].left : cases[i].right;
        const bool is_same = output.file_name == (own.is_flat ? "" : own.file_name) &&
                             (output.floats == own.response.size());
        // A file that was unusable on the device may be good here.
        Count(is_same || candidate_.source().is_recovered, place, name + "data files",
              !output.file_name.empty() && output.file_name != own.file_name);
      }
    }
    if (dump.has_hinge_index && !candidate_.ranges().empty()) {
      Count(dump.ranges == candidate_.ranges(), place, "the dump has other hinge ranges", true);
    }
    if (dump.previous) {
      Count(candidate_.CaseOfKeys(*dump.previous).has_value(), place,
            "the dump's previous case is none of the configuration", true);
    }
  }

  void ExplainDelivery(const Delivery& delivery) {
    const auto response = [this](const std::optional<size_t>& number) {
      return number ? &material_.responses[*number] : nullptr;
    };
    // The other channel may have been cut off.
    const bool is_part = delivery.may_be_cut && delivery.has_one_channel() &&
                         std::any_of(candidate_.cases().begin(), candidate_.cases().end(),
                                     [&](const CandidateCase& one) {
                                       return delivery.left
                                                  ? one.left.IsSentAs(response(delivery.left))
                                                  : one.right.IsSentAs(response(delivery.right));
                                     });
    const bool is_known =
        is_part || !delivery.has_response() || candidate_.source().is_recovered ||
        !candidate_.CasesOfResponses(response(delivery.left), response(delivery.right)).empty();
    // The findings tell which file it is.
    Count(is_known, delivery.place, "no case of the configuration sends these responses", false);
  }

  const Candidate& candidate_;
  const Material& material_;
  const Story& story_;
  Explanation result_;
};

}  // namespace

Explanation Explain(const Candidate& candidate, const Material& material, const Story& story) {
  return Explainer(candidate, material, story).Run();
}

}  // namespace brelmo::tavi::tools
