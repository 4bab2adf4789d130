#include "build/project.h"

#include <map>
#include <utility>

#include "console/wording.h"

namespace brelmo::tavi::tools {

namespace {

constexpr const char* kNothingIsBuilt = "nothing is built";
constexpr const char* kFilePhase = "file";
const std::vector<std::string> kChannelKinds = {"measured", "correction", "filters", "file"};

struct FilterKey {
  FilterKind kind;
  bool has_hz;
  bool has_db;
  bool needs_q;  // it has none that is meant when nothing is said
};

const std::map<std::string, FilterKey>& FilterKeys() {
  static const auto* const keys = new std::map<std::string, FilterKey>{
      {"gain", {FilterKind::kGain, false, true, false}},
      {"delay", {FilterKind::kDelay, false, false, false}},
      {"high-pass", {FilterKind::kHighPass, true, false, false}},
      {"low-pass", {FilterKind::kLowPass, true, false, false}},
      {"low-shelf", {FilterKind::kLowShelf, true, true, false}},
      {"high-shelf", {FilterKind::kHighShelf, true, true, false}},
      {"peak", {FilterKind::kPeak, true, true, true}},
      {"all-pass", {FilterKind::kAllPass, true, false, false}},
  };
  return *keys;
}

template <typename Value, typename Field>
void Put(const std::optional<Value>& value, Field& field) {
  if (value) field = static_cast<Field>(*value);
}

std::optional<double> Within(TomlTable& table, const std::string& key, Bounds bounds,
                             const std::string& unit) {
  return table.Number(key, bounds.low, bounds.high, unit);
}

std::optional<int64_t> ReadTaps(TomlTable& table) {
  return table.Whole("taps", static_cast<int64_t>(kLeastTaps), static_cast<int64_t>(kFilterLength));
}

void ReadRange(TomlTable& table, Range& range) {
  const auto numbers = table.Numbers("range");
  if (!numbers) return;
  if (numbers->size() == 2 && (*numbers)[0] > 0.0 && (*numbers)[0] < (*numbers)[1]) {
    range = {(*numbers)[0], (*numbers)[1]};
    return;
  }
  table.Refuse("range", "range is to be two rising frequencies in Hz", kNothingIsBuilt);
}

void ReadLevel(TomlTable& table, DesignOptions& design) {
  if (!table.IsText("level")) {
    if (const auto level = Within(table, "level", kLevelBounds, "dB, or \"mean\", or \"peak\",")) {
      design.level = LevelRule::kAbsolute;
      design.level_db = *level;
    }
  } else if (const auto word = table.Word("level", {"mean", "peak"})) {
    design.level = *word == "peak" ? LevelRule::kPeak : LevelRule::kMean;
  }
}

void ReadReading(TomlTable& table, ReadOptions& reading) {
  Put(table.Names("column"), reading.columns);
  if (const auto channel = table.Whole("channel", 1, 1024)) {
    reading.channel = static_cast<size_t>(*channel);
  }
  if (const auto start = table.Whole("ir_start", 0, int64_t{1} << 40)) {
    reading.ir_start = static_cast<size_t>(*start);
  }
}

// The options of tavi design: of the source, of a posture, of a channel; the last that says
// something counts.
void ReadDesign(TomlTable& table, FromMeasurement& from) {
  DesignOptions& design = from.design;
  Put(table.Text("target"), from.target);
  Put(table.Text("mask"), from.mask);
  if (table.Has("target")) from.target_place = table.PlaceOf("target");
  if (table.Has("mask")) from.mask_place = table.PlaceOf("mask");
  ReadRange(table, design.range);
  Put(Within(table, "max_boost", kBoostBounds, "dB"), design.max_boost_db);
  Put(Within(table, "max_cut", kCutBounds, "dB"), design.max_cut_db);
  Put(Within(table, "smoothing", kSmoothingBounds, "1/octave"), design.smoothing);
  Put(Within(table, "regularisation", kRegularisationBounds, "dB"), design.regularisation_db);
  Put(ReadTaps(table), design.taps);
  Put(table.Whole("bands", 1, kMostBands), design.bands);
  ReadLevel(table, design);
  if (const auto phase = table.Word("phase", {"minimum", "linear", "excess"})) {
    design.phase = *phase == "linear"   ? CorrectionPhase::kLinear
                   : *phase == "excess" ? CorrectionPhase::kExcess
                                        : CorrectionPhase::kMinimum;
  }
  ReadReading(table, from.reading);
  from.reading.from_hz = design.range.from_hz;
  from.reading.to_hz = design.range.to_hz;
}

FromCorrection ReadCorrection(TomlTable& table, const std::string& file, double rate) {
  FromCorrection from;
  from.file = file;
  from.import.rate = rate;
  from.reading = FilterReading();
  from.import.is_minimum_phase = table.Word("phase", {kFilePhase, "minimum"}) == "minimum";
  Put(ReadTaps(table), from.import.taps);
  Put(Within(table, "gain", kGainBounds, "dB"), from.import.gain_db);
  Put(table.Flag("remove_delay"), from.import.is_delay_removed);
  ReadReading(table, from.reading);
  return from;
}

Filter ReadFilter(TomlTable& table, double rate) {
  Filter filter;
  std::vector<std::string> kinds;
  for (const auto& [name, key] : FilterKeys()) kinds.push_back(name);
  if (!table.Has("type")) {
    table.Refuse("type", "a filter needs a type: " + Enumerate(kinds), kNothingIsBuilt);
    return filter;
  }
  const auto kind = table.Word("type", kinds);
  if (!kind) return filter;
  const FilterKey& key = FilterKeys().at(*kind);
  filter.kind = key.kind;
  const auto need = [&](const std::string& name) {
    if (!table.Has(name))
      table.Refuse(name, "a filter of type " + *kind + " needs " + name, kNothingIsBuilt);
    return table.Has(name);
  };
  bool is_whole = true;
  if (key.has_db) {
    const auto db = need("db") ? table.Number("db", -200.0, 200.0, "dB") : std::nullopt;
    Put(db, filter.db);
    is_whole = is_whole && db.has_value();
  }
  if (key.has_hz) {
    const auto hz = need("hz") ? table.Number("hz", 0.0, 1e7, "Hz") : std::nullopt;
    Put(hz, filter.hz);
    is_whole = is_whole && hz.has_value();
    const auto q = !key.needs_q || need("q") ? table.Number("q", 0.0, 1000.0, "") : std::nullopt;
    Put(q, filter.q);
    is_whole = is_whole && table.Has("q") == q.has_value() && (q.has_value() || !key.needs_q);
  }
  if (key.kind == FilterKind::kDelay) {
    const auto samples = need("samples")
                             ? table.Whole("samples", 0, static_cast<int64_t>(kFilterLength) - 1)
                             : std::nullopt;
    Put(samples, filter.samples);
    is_whole = is_whole && samples.has_value();
  }
  table.RefuseOthers();
  const std::string fault = is_whole ? FilterFault(filter, rate) : "";
  if (!fault.empty()) table.Refuse("type", "of this filter " + fault, kNothingIsBuilt);
  return filter;
}

FromFilters ReadFilters(TomlTable& table, double rate) {
  FromFilters from;
  for (TomlTable& filter : table.Tables("filters", "a filter")) {
    from.chain.push_back(ReadFilter(filter, rate));
  }
  return from;
}

ChannelSource ReadChannel(TomlTable& table, const FromMeasurement& defaults) {
  ChannelSource channel;
  std::string kind;
  for (const std::string& key : kChannelKinds) {
    if (!table.Has(key)) continue;
    if (!kind.empty()) {
      table.Refuse(key, "a channel is made from one thing, not from " + Enumerate({kind, key}),
                   kNothingIsBuilt);
    }
    kind = key;
  }
  channel.place = table.PlaceOf(kind.empty() ? kChannelKinds.front() : kind);
  if (kind == "measured") {
    FromMeasurement from = defaults;
    Put(table.Text(kind), from.file);
    ReadDesign(table, from);
    channel.from = std::move(from);
  } else if (kind == "correction") {
    channel.from = ReadCorrection(table, table.Text(kind).value_or(""), defaults.design.rate);
  } else if (kind == "filters") {
    channel.from = ReadFilters(table, defaults.design.rate);
  } else if (kind == "file") {
    channel.from = FromDataFile{table.Text(kind).value_or("")};
  } else {
    table.RefuseOthers();
    table.Refuse(kChannelKinds.front(), "a channel needs measured, correction, filters or file",
                 std::string(kNothingIsBuilt) + "; filters = [] changes nothing of the sound");
    return channel;
  }
  table.RefuseOthers();
  return channel;
}

bool IsName(const std::string& text) {
  return !text.empty() && text.find_first_not_of(
                              "abcdefghijklmnopqrstuvwxyz"
                              "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-") == std::string::npos;
}

// Of the source or of a posture.
void ReadPair(TomlTable& table, PostureSource& posture) {
  if (const auto pair = table.Word("pair", {"together", "apart"})) {
    posture.is_pair_levelled = *pair == "together";
  }
  Put(table.Flag("match_delay"), posture.is_delay_matched);
}

PostureSource ReadPosture(TomlTable& table, const FromMeasurement& source_defaults,
                          const PostureSource& posture_defaults) {
  PostureSource posture = posture_defaults;
  FromMeasurement defaults = source_defaults;
  if (!table.Has("name")) {
    table.Refuse("name", "a posture needs a name",
                 std::string(kNothingIsBuilt) + "; its data files have it in their names");
  }
  Put(table.Text("name"), posture.name);
  if (table.IsText("name") && !IsName(posture.name)) {
    table.Refuse("name", "a posture's name has letters, digits, _ and - only",
                 std::string(kNothingIsBuilt) + "; its data files have it in their names");
  }
  posture.place = table.PlaceOf("name");
  posture.hinge_place = table.PlaceOf("hinge");
  posture.rotation_place = table.PlaceOf("rotation");
  if (const auto hinge = table.Wholes("hinge")) {
    if (hinge->size() == 2) {
      posture.hinge = {(*hinge)[0], (*hinge)[1]};
    } else {
      table.Refuse("hinge", "hinge is to be the lowest and the highest angle, [0, 44]",
                   std::string(kNothingIsBuilt) + "; both belong to the range");
    }
  }
  Put(table.Wholes("rotation"), posture.rotations);
  ReadPair(table, posture);
  if (auto design = table.Table("design", "a posture's design")) {
    ReadDesign(*design, defaults);
    design->RefuseOthers();
  }
  for (size_t i = 0; i < kChannelKeys.size(); ++i) {
    if (auto channel = table.Table(kChannelKeys[i], "this channel")) {
      posture.channels[i] = ReadChannel(*channel, defaults);
    } else if (!table.Has(kChannelKeys[i])) {
      table.Refuse(kChannelKeys[i], std::string("a posture needs ") + kChannelKeys[i],
                   "nothing is built; {filters = []} changes nothing of the channel's sound");
    }
  }
  table.RefuseOthers();
  return posture;
}

}  // namespace

Project ReadProject(TomlSource& source) {
  Project project;
  if (source.root() == nullptr) return project;
  TomlTable table(source, *source.root(), "the source");
  Put(Within(table, "rate", kRateBounds, "Hz"), project.rate);
  Put(table.Number("max_gain", -1000.0, 1000.0, "dB"), project.max_gain_db);
  Put(table.Text("prefix"), project.prefix);
  if (!IsName(project.prefix)) {
    table.Refuse("prefix", "the prefix has letters, digits, _ and - only",
                 std::string(kNothingIsBuilt) + "; the data files' names begin with it");
  }
  FromMeasurement defaults;
  defaults.design.rate = project.rate;
  if (auto design = table.Table("design", "design")) {
    ReadDesign(*design, defaults);
    design->RefuseOthers();
  }
  PostureSource posture_defaults;
  ReadPair(table, posture_defaults);
  std::map<std::string, size_t> lines;
  for (TomlTable& posture_table : table.Tables("posture", "a posture")) {
    PostureSource posture = ReadPosture(posture_table, defaults, posture_defaults);
    const auto [at, is_new] = lines.emplace(posture.name, posture.place.line);
    if (!is_new && !posture.name.empty()) {
      posture_table.Refuse(
          "name", "the posture of line " + std::to_string(at->second) + " has this name too",
          std::string(kNothingIsBuilt) + "; their data files would be one");
    }
    project.postures.push_back(std::move(posture));
  }
  table.RefuseOthers();
  if (!table.Has("posture")) {
    source.Refuse({}, "no-posture", "the source has no [[posture]]",
                  "nothing is built: without a case the module does nothing");
  }
  return project;
}

}  // namespace brelmo::tavi::tools
