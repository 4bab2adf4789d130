// The build of the module that belongs to this program.
#pragma once

#include <string>

namespace brelmo::tavi::tools {

// Beside the program, or where it was installed to. Throws InputError when it is in neither place.
std::string FindInstalledModule();

}  // namespace brelmo::tavi::tools
