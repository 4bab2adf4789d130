// The names that the module knows in a configuration, and how people talk about cases.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "telephony_speaker_compensation.h"

namespace brelmo::tavi::tools {

constexpr std::array<std::string_view, 2> kChannelNames = {audio::compensation::kLeftChannel,
                                                           audio::compensation::kRightChannel};

// As people and tools call them.
constexpr std::array<const char*, 2> kChannelKeys = {"left", "right"};

bool IsConditionName(std::string_view name);
bool IsKnownName(std::string_view name);
std::string NearestKnownName(std::string_view name);

// "case 2", "cases 2 to 5": those from `begin` up to but without `end`.
std::string CasesFrom(size_t begin, size_t end);
// "case 0 stays in force", for the cases before `count`.
std::string InForce(size_t count);

}  // namespace brelmo::tavi::tools
