#include "build/curves_data.h"

#include <cmath>

#include <vector>

namespace brelmo::tavi::tools {

namespace {

using Json = nlohmann::ordered_json;

// A hundredth of a decibel is more than a page shows, and the same on any machine.
Json Rounded(const std::vector<double>& values) {
  Json array = Json::array();
  for (const double value : values) array.push_back(std::round(100.0 * value) / 100.0 + 0.0);
  return array;
}

Json LimitToJson(const Curve& limit) {
  return {{"frequency_hz", Rounded(limit.hz)}, {"db", Rounded(limit.db)}};
}

}  // namespace

void PutCurves(const Tuning& tuning, Json& data) {
  Json designs = Json::array();
  for (size_t number = 0; number < tuning.made.size(); ++number) {
    for (size_t channel = 0; channel < kChannelKeys.size(); ++channel) {
      const auto& curves = tuning.made[number].channels[channel].curves;
      if (!curves) continue;
      Json mask;
      if (!curves->mask.empty()) {
        mask = {{"name", curves->mask},
                {"upper", LimitToJson(curves->mask_upper)},
                {"lower", LimitToJson(curves->mask_lower)},
                {"margin_before_db", Rounded({curves->margin_before_db})[0]},
                {"margin_after_db", Rounded({curves->margin_after_db})[0]}};
      }
      designs.push_back(
          {{"case", number},
           {"channel", kChannelKeys[channel]},
           {"corrected", Rounded({curves->corrected.from_hz, curves->corrected.to_hz})},
           {"frequency_hz", Rounded(curves->hz)},
           {"measured_db", Rounded(curves->measured_db)},
           {"target_db", Rounded(curves->target_db)},
           {"correction_db", Rounded(curves->correction_db)},
           {"corrected_db", Rounded(curves->corrected_db)},
           {"mask", mask}});
    }
  }
  Json names = Json::array();
  for (const PostureSource& posture : tuning.project.postures) names.push_back(posture.name);
  data["build"] = {{"postures", names}, {"designs", designs}};
}

}  // namespace brelmo::tavi::tools
