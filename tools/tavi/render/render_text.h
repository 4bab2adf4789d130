// What is said of a rendering.
#pragma once

#include <string>

#include "render/write_render.h"

namespace brelmo::tavi::tools {

// Lines for people. `scenario_seconds`: how long the scenario lasts.
std::string RenderText(const RenderRequest& request, const RenderResult& result,
                       double scenario_seconds);

}  // namespace brelmo::tavi::tools
