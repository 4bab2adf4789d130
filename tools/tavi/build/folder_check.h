// Whether a folder is what a source makes.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace brelmo::tavi::tools {

// How the folder differs from `files` and the manifest, a line each; empty when it does not.
// Bins that lie at most 1e-7 apart count as equal, because machines differ in the last digit; where
// some do, pages and hashes are not compared. Throws InputError when the folder cannot be looked
// through.
std::vector<std::string> DifferencesIn(const std::string& folder,
                                       const std::map<std::string, std::string>& files,
                                       const std::string& manifest);

// Whether there is a file with this content.
bool IsFileOf(const std::string& path, const std::string& content);

}  // namespace brelmo::tavi::tools
