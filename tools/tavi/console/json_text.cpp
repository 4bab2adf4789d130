#include "console/json_text.h"

namespace brelmo::tavi::tools {

std::string JsonText(const nlohmann::ordered_json& value, int indent) {
  return value.dump(indent, ' ', /*ensure_ascii=*/true,
                    nlohmann::ordered_json::error_handler_t::replace);
}

}  // namespace brelmo::tavi::tools
