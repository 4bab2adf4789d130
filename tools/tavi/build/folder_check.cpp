#include "build/folder_check.h"

#include <cmath>

#include <charconv>
#include <filesystem>
#include <optional>
#include <set>
#include <string_view>

#include "build/tuning.h"
#include "console/input.h"
#include "console/output.h"
#include "console/wording.h"

namespace brelmo::tavi::tools {

namespace {

namespace fs = std::filesystem;

std::optional<std::string> Content(const fs::path& path) {
  std::error_code error;
  if (!fs::is_regular_file(path, error)) return std::nullopt;
  return ReadFile(path.string());
}

// The next number, and whatever is between the one before and it.
struct Field {
  std::string_view between;
  double number = 0.0;
};

std::optional<Field> NextNumber(std::string_view& text) {
  const size_t at = text.find_first_of("-0123456789");
  if (at == std::string_view::npos) return std::nullopt;
  Field field;
  field.between = text.substr(0, at);
  text.remove_prefix(at);
  const auto end = std::from_chars(text.data(), text.data() + text.size(), field.number);
  if (end.ec != std::errc()) return std::nullopt;
  text.remove_prefix(static_cast<size_t>(end.ptr - text.data()));
  return field;
}

bool IsSameButRounding(std::string_view a, std::string_view b) {
  constexpr double kMost = 1e-7;
  while (true) {
    const auto field_a = NextNumber(a);
    const auto field_b = NextNumber(b);
    if (!field_a || !field_b) return !field_a && !field_b && a == b;
    if (field_a->between != field_b->between ||
        !(std::abs(field_a->number - field_b->number) <= kMost)) {
      return false;
    }
  }
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  for (size_t at = 0; at < text.size();) {
    const size_t end = std::min(text.find('\n', at), text.size());
    lines.push_back(text.substr(at, end - at));
    at = end + 1;
  }
  return lines;
}

// Where two texts part, for a message.
std::string FirstDifference(const std::string& is, const std::string& should) {
  const auto a = Lines(is);
  const auto b = Lines(should);
  size_t i = 0;
  while (i < a.size() && i < b.size() && a[i] == b[i]) ++i;
  const auto line = [i](const std::vector<std::string>& lines) {
    return i < lines.size() ? Quote(lines[i]) : "no line";
  };
  return "line " + std::to_string(i + 1) + " is " + line(a) + ", would be " + line(b);
}

// Without the hashes of what was made.
std::string WithoutHashes(const std::string& manifest) {
  std::string text;
  for (const std::string& line : Lines(manifest)) {
    const bool is_file = line.rfind("file\t", 0) == 0;
    text += (is_file ? line.substr(0, line.rfind('\t')) : line) + "\n";
  }
  return text;
}

}  // namespace

std::vector<std::string> DifferencesIn(const std::string& folder,
                                       const std::map<std::string, std::string>& files,
                                       const std::string& manifest) {
  std::vector<std::string> differences;
  std::error_code error;
  if (!fs::is_directory(folder, error)) return {folder + " is no folder"};
  const auto differ = [&](const std::string& name, const std::string& how) {
    differences.push_back((fs::path(folder) / name).string() + " " + how);
  };
  bool is_rounded = false;
  for (const auto& [name, content] : files) {
    if (name == kReportFile) continue;
    const auto is = Content(fs::path(folder) / name);
    if (!is) {
      differ(name, "is missing");
    } else if (*is != content) {
      if (IsDataFile(name) && IsSameButRounding(*is, content)) {
        is_rounded = true;
      } else {
        differ(name, "differs: " + FirstDifference(*is, content));
      }
    }
  }
  const auto page = Content(fs::path(folder) / kReportFile);
  if (!page) {
    differ(kReportFile, "is missing");
  } else if (!is_rounded && *page != files.at(kReportFile)) {
    differ(kReportFile, "differs");
  }
  const auto is_manifest = Content(fs::path(folder) / OutputFolder::kManifest);
  const auto compared = [is_rounded](const std::string& text) {
    return is_rounded ? WithoutHashes(text) : text;
  };
  if (!is_manifest) {
    differ(OutputFolder::kManifest, "is missing");
  } else if (compared(*is_manifest) != compared(manifest)) {
    differ(OutputFolder::kManifest, "differs: " + FirstDifference(*is_manifest, manifest));
  }
  try {
    std::set<std::string> others;
    for (const auto& entry : fs::recursive_directory_iterator(folder)) {
      if (entry.is_directory() && !entry.is_symlink()) continue;
      const std::string name = entry.path().lexically_relative(folder).string();
      if (files.count(name) == 0 && name != OutputFolder::kManifest) others.insert(name);
    }
    for (const std::string& name : others) differ(name, "is not made by the source");
  } catch (const fs::filesystem_error& failure) {
    throw InputError(folder + ": cannot be looked through: " + failure.code().message());
  }
  return differences;
}

bool IsFileOf(const std::string& path, const std::string& content) {
  return Content(path) == content;
}

}  // namespace brelmo::tavi::tools
