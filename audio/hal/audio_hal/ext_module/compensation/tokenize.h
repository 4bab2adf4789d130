// android::base::Tokenize for releases of libbase that do not have it yet.
//
// The build defines TAVI_LIBBASE_WITHOUT_TOKENIZE where the installed libbase lacks the function; a
// tree with a newer libbase defines nothing and gets the library's own.
#pragma once

#ifndef TAVI_LIBBASE_WITHOUT_TOKENIZE

#include <android-base/strings.h>

#else

#include <string>
#include <vector>

namespace android::base {

// Splits `s` at every character that occurs in `delimiters`; empty tokens are dropped.
inline std::vector<std::string> Tokenize(const std::string& s, const std::string& delimiters) {
  std::vector<std::string> tokens;
  size_t end = 0;
  for (size_t begin = s.find_first_not_of(delimiters); begin != std::string::npos;
       begin = s.find_first_not_of(delimiters, end)) {
    end = s.find_first_of(delimiters, begin);
    if (end == std::string::npos) end = s.size();
    tokens.emplace_back(s, begin, end - begin);
  }
  return tokens;
}

}  // namespace android::base

#endif
