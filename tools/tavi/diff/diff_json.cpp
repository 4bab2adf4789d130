#include "diff/diff_json.h"

#include "check/known_names.h"
#include "check/posture_text.h"
#include "console/json_number.h"

namespace brelmo::tavi::tools {

namespace {

using Json = nlohmann::ordered_json;

Json GainToJson(const GainDifference& gain) {
  return {
      {"largest_db", gain.largest_db}, {"largest_hz", gain.largest_hz}, {"rms_db", gain.rms_db}};
}

}  // namespace

Json ToJson(const ChannelDiff& diff) {
  Json object = {{"same", diff.is_same}};
  if (!diff.what.empty()) object["what"] = diff.what;
  if (!diff.played_flat.empty()) object["played_flat"] = diff.played_flat;
  if (diff.difference) {
    const ResponseDifference& difference = *diff.difference;
    object["deviation_db"] = difference.deviation_db;
    object["from_300_to_8000_hz"] = GainToJson(difference.speech);
    object["all"] = GainToJson(difference.all);
    object["level_db"] = difference.level_db;
    object["without_level"] = GainToJson(difference.remaining);
    object["delay_samples"] = difference.delay_samples;
    object["inverted"] = difference.is_inverted;
    object["similarity"] = difference.similarity;
  }
  return object;
}

Json ToJson(const ConfigDiff& diff) {
  Json postures = Json::array();
  for (const PostureDiff& posture : diff.postures) {
    Json object = {{"postures", DescribePostures(posture.postures)},
                   {"old_case", OptionalNumber(posture.old_case)},
                   {"new_case", OptionalNumber(posture.new_case)},
                   {"other_case", posture.is_other_case},
                   {"alternate", posture.is_alternate},
                   {"same", posture.is_same_sound}};
    for (size_t channel = 0; channel < 2; ++channel) {
      object[kChannelKeys[channel]] =
          posture.old_case && posture.new_case ? ToJson(posture.channels[channel]) : Json();
    }
    postures.push_back(std::move(object));
  }
  return {{"same", diff.is_same},
          {"rules", diff.rules},
          {"postures", postures},
          {"only_text", diff.only_text}};
}

}  // namespace brelmo::tavi::tools
