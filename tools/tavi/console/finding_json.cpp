#include "console/finding_json.h"

namespace brelmo::tavi::tools {

nlohmann::ordered_json FindingToJson(const Finding& finding) {
  using Json = nlohmann::ordered_json;
  Json object = {{"name", finding.name}, {"severity", SeverityName(finding.severity)}};
  object["case"] = finding.case_number ? Json(*finding.case_number) : Json();
  object["column"] = finding.column > 0 ? Json(finding.column) : Json();
  object["file"] = finding.file;
  object["line"] = finding.column > 0 ? Json(finding.line) : Json();
  object["message"] = finding.message;
  object["consequence"] = finding.consequence;
  return object;
}

nlohmann::ordered_json FindingsToJson(const std::vector<Finding>& findings) {
  nlohmann::ordered_json array = nlohmann::ordered_json::array();
  for (const Finding& finding : findings) array.push_back(FindingToJson(finding));
  return array;
}

}  // namespace brelmo::tavi::tools
