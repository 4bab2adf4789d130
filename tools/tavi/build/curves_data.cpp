#include "build/curves_data.h"

#include <vector>

#include "console/json_number.h"

namespace brelmo::tavi::tools {

namespace {

using Json = nlohmann::ordered_json;

// A hundredth of a decibel is more than a page shows, and the same on any machine.
constexpr int kDecimals = 2;

Json InHundredths(const std::vector<double>& values) { return RoundedArray(values, kDecimals); }

Json LimitToJson(const Curve& limit) {
  return {{"frequency_hz", InHundredths(limit.hz)}, {"db", InHundredths(limit.db)}};
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
                {"margin_before_db", Rounded(curves->margin_before_db, kDecimals)},
                {"margin_after_db", Rounded(curves->margin_after_db, kDecimals)}};
      }
      designs.push_back(
          {{"case", number},
           {"channel", kChannelKeys[channel]},
           {"corrected", InHundredths({curves->corrected.from_hz, curves->corrected.to_hz})},
           {"frequency_hz", InHundredths(curves->hz)},
           {"measured_db", InHundredths(curves->measured_db)},
           {"target_db", InHundredths(curves->target_db)},
           {"correction_db", InHundredths(curves->correction_db)},
           {"corrected_db", InHundredths(curves->corrected_db)},
           {"mask", mask}});
    }
  }
  Json names = Json::array();
  for (const PostureSource& posture : tuning.project.postures) names.push_back(posture.name);
  data["build"] = {{"postures", names}, {"designs", designs}};
}

}  // namespace brelmo::tavi::tools
