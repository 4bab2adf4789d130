#include "diagnose/diagnosis.h"

#include <algorithm>
#include <map>

#include "console/input.h"
#include "console/wording.h"

namespace brelmo::tavi::tools {

namespace {

// Findings of one name that are shown.
constexpr size_t kMostOfAName = 20;

void FindWhich(const Diagnosis& diagnosis, std::vector<FieldFinding>& found) {
  const FieldCase field = diagnosis.field();
  if (!diagnosis.best) return;
  const Explanation& best = diagnosis.explanations[*diagnosis.best];
  if (!best.is_refuted || !best.first_against) return;
  found.push_back(MakeFieldFinding(
      field, "no-candidate-fits", Severity::kWarning, true, {best.first_against->place},
      diagnosis.candidates.size() == 1
          ? "the configuration given does not explain what is there"
          : "none of the configurations given explains all that is there",
      "the best, " + Printable(diagnosis.candidates[*diagnosis.best]->source().name) +
          ", explains " + std::to_string(best.explained) + " of " + std::to_string(best.total) +
          "; against it: " + best.first_against->reason +
          ". The device has another configuration or other data files"));
}

void KeepFew(std::vector<FieldFinding>& findings) {
  std::map<std::string, size_t> counts;
  std::map<std::string, size_t> last;
  std::vector<FieldFinding> kept;
  for (FieldFinding& finding : findings) {
    const std::string name = finding.finding.name;
    counts[name] += 1 + finding.more;
    if (counts[name] > kMostOfAName) continue;
    last[name] = kept.size();
    kept.push_back(std::move(finding));
  }
  for (const auto& [name, count] : counts) {
    if (count <= kMostOfAName) continue;
    kept[last[name]].finding.consequence +=
        "; there are " + std::to_string(count - kMostOfAName) + " more of this name";
  }
  findings = std::move(kept);
}

// A log and a dump, or a log and a capture, tell of the same channels.
void DropRepeated(std::vector<FieldFinding>& findings) {
  const bool has_dumped =
      std::any_of(findings.begin(), findings.end(), [](const FieldFinding& finding) {
        return finding.finding.name == "flat-channel" && finding.finding.line_text.empty();
      });
  if (!has_dumped) return;
  std::vector<FieldFinding> kept;
  for (FieldFinding& finding : findings) {
    const bool is_poorer = finding.finding.name == "flat-channel" &&
                           !finding.finding.line_text.empty() &&
                           finding.finding.message.find(" of case ") == std::string::npos;
    if (!is_poorer) kept.push_back(std::move(finding));
  }
  findings = std::move(kept);
}

}  // namespace

FieldCase Diagnosis::field() const {
  const bool is_fit =
      best ? !explanations[*best].is_refuted && equals.empty() : recovered_candidate != nullptr;
  FieldCase field = {material, story, naming(), is_fit};
  for (const size_t other : equals) field.equals.push_back(candidates[other].get());
  return field;
}

bool Diagnosis::is_something_wrong() const {
  return std::any_of(findings.begin(), findings.end(),
                     [](const auto& found) { return found.finding.severity != Severity::kNote; });
}

Diagnosis Diagnose(Material material, const std::vector<CandidateSource>& sources) {
  const auto is_unread = [](const LogEntry& entry) {
    return entry.event == LogEvent::kCut || entry.event == LogEvent::kUnknown;
  };
  if (material.dumps.empty() && material.deliveries.empty() &&
      std::all_of(material.entries.begin(), material.entries.end(), is_unread)) {
    throw InputError(material.files.front().name + ": all " +
                     Count(material.entries.size(), "line") +
                     " of the module are cut, or of another version of it");
  }
  Diagnosis diagnosis;
  diagnosis.material = std::move(material);
  diagnosis.story = BuildStory(diagnosis.material);
  for (const CandidateSource& source : sources) {
    diagnosis.candidates.push_back(std::make_unique<Candidate>(source));
    diagnosis.explanations.push_back(
        Explain(*diagnosis.candidates.back(), diagnosis.material, diagnosis.story));
  }
  // One that has what cannot be of it is not it; of the others, by what is left unexplained.
  const auto rank = [&diagnosis](size_t i) {
    const Explanation& one = diagnosis.explanations[i];
    return std::make_pair(one.is_refuted, one.total - one.explained);
  };
  for (size_t i = 0; i < diagnosis.candidates.size(); ++i) {
    if (!diagnosis.best || rank(i) < rank(*diagnosis.best)) diagnosis.best = i;
  }
  for (size_t i = 0; i < diagnosis.candidates.size(); ++i) {
    if (i != *diagnosis.best && rank(i) == rank(*diagnosis.best)) diagnosis.equals.push_back(i);
  }
  for (const auto& [file, dump] : diagnosis.material.dumps) {
    if (!diagnosis.recovered) diagnosis.recovered = RecoverConfig(dump);
  }
  const bool is_wanted = !diagnosis.best || diagnosis.explanations[*diagnosis.best].is_refuted;
  if (diagnosis.recovered && is_wanted) {
    CandidateSource source;
    source.name = "the dump";
    source.text = diagnosis.recovered->text;
    source.is_recovered = true;
    diagnosis.recovered_candidate = std::make_unique<Candidate>(source);
    // A dump beats a candidate that cannot be it.
    if (diagnosis.best && diagnosis.material.deliveries.empty()) {
      const Explanation own =
          Explain(*diagnosis.recovered_candidate, diagnosis.material, diagnosis.story);
      if (own.is_refuted) diagnosis.recovered_candidate.reset();
    }
  }

  const FieldCase field = diagnosis.field();
  std::vector<FieldFinding>& findings = diagnosis.findings;
  FindWhich(diagnosis, findings);
  for (const Life& life : diagnosis.story.lives) {
    FindInInit(field, life, findings);
    FindInCalls(field, life, findings);
    FindByTurns(field, life, findings);
  }
  FindInDumps(field, findings);
  FindInResponses(field, findings);
  FindInMaterial(field, findings);
  DropRepeated(findings);
  KeepFew(findings);
  std::stable_sort(findings.begin(), findings.end(), [](const auto& a, const auto& b) {
    if (a.finding.severity != b.finding.severity) return a.finding.severity > b.finding.severity;
    return a.is_certain && !b.is_certain;
  });
  return diagnosis;
}

std::string DescribeEvent(const FieldCase& field, const Life& life, const StoryEvent& event) {
  const auto result = [&field, &event] {
    std::string text;
    switch (event.write) {
      case WriteResult::kAccepted:
        text = "accepted";
        break;
      case WriteResult::kRefused:
        text = "refused";
        break;
      case WriteResult::kNotMade:
        return std::string("not made");
      case WriteResult::kUnknown:
        return std::string("result unknown");
    }
    if (event.delivery != UINT32_MAX && event.write == WriteResult::kRefused) {
      const auto& code = field.material.deliveries[event.delivery].result;
      if (code) text += " with " + std::to_string(*code);
    }
    return text;
  };
  switch (event.kind) {
    case StoryEvent::Kind::kTold:
    case StoryEvent::Kind::kUnsupported: {
      const std::string number = std::to_string(event.number);
      if (event.kind == StoryEvent::Kind::kUnsupported) {
        return "told of " + std::string(event.is_usecase ? "use-case" : "common") + " event " +
               number + ", which it does not know";
      }
      if (event.is_usecase) {
        return event.number == simulator::kUsecaseStarted   ? "told: a use case started"
               : event.number == simulator::kUsecaseStopped ? "told: a use case stopped"
                                                            : "told: use-case event " + number;
      }
      return event.number == simulator::kValueAnnounced   ? "told: a common value was announced"
             : event.number == simulator::kValueWithdrawn ? "told: a common value was withdrawn"
             : event.number == simulator::kScreenRotated  ? "told: the screen was rotated"
                                                          : "told: common event " + number;
    }
    case StoryEvent::Kind::kScenarioOn:
      if (event.is_either_status) {
        return "scenario on or off, the log does not tell which: status sent, " + result();
      }
      return "scenario on: status 1, " + result();
    case StoryEvent::Kind::kScenarioOff:
      return "scenario off: status 0, " + result();
    case StoryEvent::Kind::kCase: {
      std::string text = NameCase(field, life, event.to) + " taken";
      if (event.from >= 0) text += ", from " + NameCaseInShort(field, life, event.from);
      text += "; write" +
              (event.bytes > 0 ? " of " + std::to_string(event.bytes) + " bytes" : std::string()) +
              " " + result();
      if (event.write == WriteResult::kUnknown) {
        // Of a capture that has no results the head says it once.
        if (!life.is_captured) text += "; what is in force then is not known";
      } else if (event.write != WriteResult::kAccepted) {
        text += "; in force stays " + (event.in_force == kUnknownCase
                                           ? std::string("what there was")
                                           : NameCaseInShort(field, life, event.in_force));
      }
      return text;
    }
    case StoryEvent::Kind::kOther:
      break;
  }
  for (const LogLineForm& form : LogLineForms()) {
    if (event.entry == UINT32_MAX || form.event != field.material.entries[event.entry].event) {
      continue;
    }
    return "the module logged " + Quote(std::string(form.function) + std::string(form.fragment));
  }
  return "";
}

}  // namespace brelmo::tavi::tools
