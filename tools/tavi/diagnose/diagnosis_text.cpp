// The diagnosis for people, and for programs.
#include <cstdio>

#include <algorithm>

#include <nlohmann/json.hpp>

#include "console/finding_json.h"
#include "console/finding_text.h"
#include "console/json_text.h"
#include "console/terminal.h"
#include "console/wording.h"
#include "diagnose/diagnosis.h"

namespace brelmo::tavi::tools {

namespace {

using Json = nlohmann::ordered_json;

void PutTitle(const std::string& title, bool is_colour) {
  Print(is_colour, colour::kBold, "\n" + title + "\n");
}

// "line 12" or "offset 24"; with the file where there are several.
std::string ShortPlace(const Diagnosis& diagnosis, const Place& place) {
  if (diagnosis.material.files.size() > 1) return DescribePlace(diagnosis.material, place);
  return place.line > 0 ? "line " + std::to_string(place.line)
                        : "offset " + std::to_string(place.offset);
}

void PutFiles(const Diagnosis& diagnosis) {
  for (const MaterialFile& file : diagnosis.material.files) {
    std::vector<std::string> parts;
    if (file.entries > 0) {
      parts.push_back(
          Count(file.entries, "line") + " of the module among " + std::to_string(file.lines) +
          (file.entries_left_out == 0
               ? ""
               : ", the first ones of " + std::to_string(file.entries + file.entries_left_out)));
    }
    if (file.dumps > 0) parts.push_back(Count(file.dumps, "dump"));
    if (file.deliveries > 0) {
      parts.push_back("a capture of " + Count(file.deliveries, "delivery", "deliveries") +
                      (file.has_borders ? "" : ", without times and results"));
    }
    Print(false, "", Printable(file.name) + ": " + Enumerate(parts) + "\n");
  }
}

const char* ColourOf(const StoryEvent& event) {
  if (event.write == WriteResult::kRefused || event.write == WriteResult::kNotMade) {
    return event.kind == StoryEvent::Kind::kTold ? colour::kPlain : colour::kRed;
  }
  return event.kind == StoryEvent::Kind::kTold ? colour::kDim : colour::kPlain;
}

std::string DescribeInit(const Life& life) {
  const size_t faults = life.init.size() - (life.end_of_init ? 1 : 0);
  const bool is_good = life.end_of_init == LogEvent::kInitialized;
  return std::string(is_good            ? "init: the module was set up"
                     : life.end_of_init ? "init failed"
                                        : "init, whose end is not there") +
         (faults == 0 ? "" : "; " + Count(faults, "line") + " of what it found amiss before it");
}

void PutLife(const Diagnosis& diagnosis, const Life& life, bool is_colour) {
  const FieldCase field = diagnosis.field();
  const size_t count = diagnosis.story.lives.size();
  if (count > 1 && (life.process >= 0 || life.is_captured)) {
    Print(
        is_colour, colour::kDim,
        life.is_captured ? "  as captured\n" : "  process " + std::to_string(life.process) + "\n");
  }
  const auto put = [&](const std::string& time, const Place& place, const char* colour,
                       const std::string& text) {
    std::string head = "  " + time;
    head.resize(std::max<size_t>(head.size(), time.empty() ? 2 : 22), ' ');
    head += "  " + ShortPlace(diagnosis, place);
    head.resize(std::max<size_t>(head.size(), time.empty() ? 16 : 38), ' ');
    Print(is_colour, colour::kDim, head + "  ");
    Print(is_colour, colour, text);
    Print(false, "", "\n");
  };
  if (!life.init.empty()) {
    const uint32_t last = life.init.back();
    const bool is_good = life.end_of_init == LogEvent::kInitialized;
    put(DescribeTime(diagnosis.material.TimeOf(diagnosis.material.entries[last])),
        PlaceOfEntry(diagnosis.material, last), is_good ? colour::kPlain : colour::kRed,
        DescribeInit(life));
  }
  for (const StoryEvent& event : life.events) {
    put(TimeText(diagnosis.material, event), PlaceOf(diagnosis.material, event), ColourOf(event),
        DescribeEvent(field, life, event) +
            (event.is_behind_gap ? "  (lines before it are missing)" : ""));
  }
}

// Of those that explain most, and that it can have been.
bool IsBest(const Diagnosis& diagnosis, size_t i) {
  const auto& equals = diagnosis.equals;
  const bool is_among = diagnosis.best == i || std::count(equals.begin(), equals.end(), i) != 0;
  return is_among && !diagnosis.explanations[i].is_refuted;
}

// What is counted: "lines, parts of dumps and deliveries", of these what is there.
std::string NameExplained(const Material& material) {
  std::vector<std::string> kinds;
  if (!material.entries.empty()) kinds.emplace_back("lines");
  if (!material.dumps.empty()) kinds.emplace_back("parts of dumps");
  if (!material.deliveries.empty()) kinds.emplace_back("deliveries");
  return Enumerate(kinds);
}

void PutCandidates(const Diagnosis& diagnosis, bool is_colour) {
  if (diagnosis.candidates.empty() && !diagnosis.recovered) return;
  PutTitle("Which configuration it was", is_colour);
  for (size_t i = 0; i < diagnosis.candidates.size(); ++i) {
    const Explanation& explanation = diagnosis.explanations[i];
    std::string text = "  " + Printable(diagnosis.candidates[i]->source().name) + " explains " +
                       std::to_string(explanation.explained) + " of " +
                       std::to_string(explanation.total) + " " + NameExplained(diagnosis.material);
    if (explanation.first_against) {
      text += "; first against it: " + ShortPlace(diagnosis, explanation.first_against->place) +
              ": " + explanation.first_against->reason;
    }
    const bool is_best = IsBest(diagnosis, i);
    Print(is_colour, is_best ? colour::kGreen : colour::kPlain, text + "\n");
  }
  if (!diagnosis.equals.empty()) {
    Print(
        false, "",
        "  The material does not tell the best of them apart; cases are named as all of them have "
        "them.\n");
  }
  if (!diagnosis.recovered_candidate) return;
  Print(false, "",
        "  The dump has a configuration of " +
            Count(diagnosis.recovered_candidate->cases().size(), "case") +
            "; --write-config stores it\n");
  for (const std::string& doubt : diagnosis.recovered->doubts) {
    Print(false, "", "    " + Printable(doubt) + "\n");
  }
}

// What the material cannot show, whatever was wrong.
void PutWhatIsNotKnown(const Diagnosis& diagnosis) {
  const auto& files = diagnosis.material.files;
  const auto has = [&files](const auto& is_there) {
    return std::any_of(files.begin(), files.end(), is_there);
  };
  if (!has([](const MaterialFile& file) { return file.entries > 0; })) {
    Print(false, "", "  Without a log: what init refused, and what the host told, is not known.\n");
  }
  const auto& findings = diagnosis.findings;
  if (std::any_of(findings.begin(), findings.end(), [](const FieldFinding& found) {
        const std::string& name = found.finding.name;
        return name == "log-gap" || name == "log-begins-late" || name == "cut-line" ||
               name == "unknown-line";
      })) {
    Print(false, "",
          "  Lines of the log are missing or not understood: what they say is not known.\n");
  }
  if (!has([](const MaterialFile& file) { return file.deliveries > 0; })) {
    Print(false, "",
          "  Without a capture: whether the responses sent are those of the files is not known.\n");
  } else if (!has([](const MaterialFile& file) { return file.has_borders || file.entries > 0; })) {
    Print(false, "", "  Without results in the capture: what the DSP accepted is not known.\n");
  }
  if (diagnosis.naming() == nullptr) {
    Print(
        false, "",
        "  Without a configuration: whether the cases taken are those to be taken is not known.\n");
  }
}

Json PlaceToJson(const Diagnosis& diagnosis, const Place& place) {
  Json object = {{"file", diagnosis.material.files[place.file].name}};
  object["line"] = place.line > 0 ? Json(place.line) : Json();
  object["offset"] = place.offset;
  return object;
}

const char* KindName(StoryEvent::Kind kind) {
  switch (kind) {
    case StoryEvent::Kind::kTold:
      return "told";
    case StoryEvent::Kind::kScenarioOn:
      return "scenario-on";
    case StoryEvent::Kind::kScenarioOff:
      return "scenario-off";
    case StoryEvent::Kind::kCase:
      return "case";
    case StoryEvent::Kind::kUnsupported:
      return "unsupported";
    case StoryEvent::Kind::kOther:
      break;
  }
  return "other";
}

const char* WriteName(WriteResult result) {
  switch (result) {
    case WriteResult::kAccepted:
      return "accepted";
    case WriteResult::kRefused:
      return "refused";
    case WriteResult::kNotMade:
      return "not-made";
    case WriteResult::kUnknown:
      break;
  }
  return "unknown";
}

Json InitToJson(const Diagnosis& diagnosis, const Life& life) {
  const uint32_t last = life.init.back();
  const std::string time =
      DescribeTime(diagnosis.material.TimeOf(diagnosis.material.entries[last]));
  Json object = {{"kind", "init"}};
  object["time"] = time.empty() ? Json() : Json(time);
  object["process"] = life.process >= 0 ? Json(life.process) : Json();
  object["place"] = PlaceToJson(diagnosis, PlaceOfEntry(diagnosis.material, last));
  object["text"] = DescribeInit(life);
  object["success"] = life.end_of_init ? Json(life.end_of_init == LogEvent::kInitialized) : Json();
  return object;
}

Json EventToJson(const Diagnosis& diagnosis, const Life& life, const StoryEvent& event) {
  const FieldCase field = diagnosis.field();
  Json object = {{"kind", event.is_either_status ? "scenario-on-or-off" : KindName(event.kind)}};
  const std::string time = TimeText(diagnosis.material, event);
  object["time"] = time.empty() ? Json() : Json(time);
  object["process"] = life.process >= 0 ? Json(life.process) : Json();
  object["place"] = PlaceToJson(diagnosis, PlaceOf(diagnosis.material, event));
  object["text"] = DescribeEvent(field, life, event);
  const bool is_write = event.kind != StoryEvent::Kind::kTold &&
                        event.kind != StoryEvent::Kind::kUnsupported &&
                        event.kind != StoryEvent::Kind::kOther;
  if (is_write) object["write"] = WriteName(event.write);
  if (event.kind == StoryEvent::Kind::kCase) {
    const auto number = [&](CaseId id) {
      const auto found = CaseNumberOf(field, life, id);
      return found ? Json(*found) : Json();
    };
    object["case"] = number(event.to);
    object["from"] = number(event.from);
    object["in_force"] = number(event.in_force);
  }
  object["behind_gap"] = event.is_behind_gap;
  return object;
}

}  // namespace

void PrintDiagnosis(const Diagnosis& diagnosis, bool is_colour) {
  PutFiles(diagnosis);
  PutTitle("What happened", is_colour);
  const auto is_empty = [](const Life& life) { return life.init.empty() && life.events.empty(); };
  if (std::all_of(diagnosis.story.lives.begin(), diagnosis.story.lives.end(), is_empty)) {
    Print(false, "", "  There is no log and no capture to tell it.\n");
  }
  for (const Life& life : diagnosis.story.lives) PutLife(diagnosis, life, is_colour);
  for (const MaterialFile& file : diagnosis.material.files) {
    if (file.entries_left_out == 0) continue;
    Print(is_colour, colour::kRed,
          "  " + Count(file.entries_left_out, "more line") + " of the module in " +
              Printable(file.name) + " not looked at\n");
  }
  PutCandidates(diagnosis, is_colour);
  if (diagnosis.is_something_wrong()) {
    PutTitle("Why it sounded wrong", is_colour);
  } else {
    PutTitle("Nothing wrong was found", is_colour);
    PutWhatIsNotKnown(diagnosis);
  }
  Print(false, "", "\n");
  for (const FieldFinding& found : diagnosis.findings) {
    Finding shown = found.finding;
    std::vector<std::string> places;
    constexpr size_t kShown = 6;
    for (size_t i = found.finding.line_text.empty() ? 0 : 1;
         i < std::min(found.evidence.size(), kShown); ++i) {
      places.push_back(ShortPlace(diagnosis, found.evidence[i]));
    }
    if (found.evidence.size() > kShown) {
      places.push_back(std::to_string(found.evidence.size() - kShown) + " more");
    }
    if (!places.empty()) {
      shown.consequence += std::string("\n    ") +
                           (found.finding.line_text.empty() ? "see " : "see also ") +
                           Enumerate(places);
    }
    PrintFinding(shown, "", is_colour);
  }
  std::vector<Finding> counted;
  for (const FieldFinding& found : diagnosis.findings) counted.push_back(found.finding);
  PrintFindingCounts(counted, is_colour);
}

void PrintDiagnosisAsJson(const Diagnosis& diagnosis) {
  Json files = Json::array();
  for (const MaterialFile& file : diagnosis.material.files) {
    files.push_back({{"file", file.name},
                     {"lines", file.lines},
                     {"log_lines", file.entries},
                     {"log_lines_left_out", file.entries_left_out},
                     {"dumps", file.dumps},
                     {"deliveries", file.deliveries}});
  }
  Json timeline = Json::array();
  for (const Life& life : diagnosis.story.lives) {
    if (!life.init.empty()) timeline.push_back(InitToJson(diagnosis, life));
    for (const StoryEvent& event : life.events) {
      timeline.push_back(EventToJson(diagnosis, life, event));
    }
  }
  Json candidates = Json::array();
  for (size_t i = 0; i < diagnosis.candidates.size(); ++i) {
    const Explanation& explanation = diagnosis.explanations[i];
    Json object = {{"name", diagnosis.candidates[i]->source().name},
                   {"explained", explanation.explained},
                   {"total", explanation.total},
                   {"best", IsBest(diagnosis, i)}};
    object["first_against"] = explanation.first_against
                                  ? PlaceToJson(diagnosis, explanation.first_against->place)
                                  : Json();
    object["reason"] = explanation.first_against ? Json(explanation.first_against->reason) : Json();
    candidates.push_back(std::move(object));
  }
  Json findings = Json::array();
  for (const FieldFinding& found : diagnosis.findings) {
    Json object = FindingToJson(found.finding);
    object["certain"] = found.is_certain;
    Json evidence = Json::array();
    for (const Place& place : found.evidence) evidence.push_back(PlaceToJson(diagnosis, place));
    object["evidence"] = std::move(evidence);
    findings.push_back(std::move(object));
  }
  Json result = {{"files", std::move(files)},
                 {"timeline", std::move(timeline)},
                 {"candidates", std::move(candidates)}};
  result["recovered_config"] = diagnosis.recovered ? Json(diagnosis.recovered->text) : Json();
  result["findings"] = std::move(findings);
  std::printf("%s\n", JsonText(result, 2).c_str());
}

}  // namespace brelmo::tavi::tools
