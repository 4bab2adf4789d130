#include "diagnose/posture_path.h"

#include <algorithm>
#include <utility>

namespace brelmo::tavi::tools {

PostureChoices::PostureChoices(std::vector<PostureResult> postures,
                               const std::vector<size_t>& same_as)
    : postures_(std::move(postures)) {
  postures_.resize(std::min(postures_.size(), kMostPostures));
  for (PostureResult& result : postures_) {
    if (result.taken) result.taken = same_as[*result.taken];
    if (result.alternate) result.alternate = same_as[*result.alternate];
  }
}

std::optional<size_t> PostureChoices::Next(std::optional<size_t> previous, size_t posture) const {
  const PostureResult& result = postures_[posture];
  return previous && result.taken == previous ? result.alternate : result.taken;
}

PostureSet PostureChoices::PosturesOf(size_t case_number) const {
  PostureSet set;
  for (size_t i = 0; i < size(); ++i) {
    set[i] = postures_[i].taken == case_number || postures_[i].alternate == case_number;
  }
  return set;
}

bool PostureChoices::Alternate(size_t a, size_t b) const {
  return std::any_of(postures_.begin(), postures_.end(), [a, b](const PostureResult& result) {
    return (result.taken == a && result.alternate == b) ||
           (result.taken == b && result.alternate == a);
  });
}

PostureSet PostureChoices::Everywhere() const {
  PostureSet set;
  for (size_t i = 0; i < size(); ++i) set.set(i);
  return set;
}

PostureSet PostureChoices::Start() const {
  PostureSet set;
  for (size_t i = 0; i < size(); ++i) set[i] = !at(i).hinge_angle && at(i).rotation == 0;
  return set;
}

PostureSet PostureChoices::Move(const PostureSet& from, bool is_rotation,
                                std::optional<size_t> previous, std::optional<size_t> taken) const {
  // Who shares what does not move: the rotation, or the angle. How many there are of each tells
  // whether somebody else is there.
  std::vector<size_t> counts;
  std::vector<size_t> group(size());
  const auto group_of = [is_rotation, this](size_t i) {
    const Posture& posture = at(i);
    return static_cast<size_t>(is_rotation ? posture.hinge_angle.value_or(-1) + 1
                                           : posture.rotation);
  };
  for (size_t i = 0; i < size(); ++i) {
    group[i] = group_of(i);
    if (group[i] >= counts.size()) counts.resize(group[i] + 1);
    if (from[i]) ++counts[group[i]];
  }
  PostureSet to;
  for (size_t i = 0; i < size(); ++i) {
    // A hinge that has been read once is never unread.
    const bool is_possible = is_rotation || at(i).hinge_angle.has_value();
    const size_t others = counts[group[i]] - (from[i] ? 1 : 0);
    to[i] = is_possible && others > 0 && Next(previous, i) == taken;
  }
  return to;
}

PostureSet PostureChoices::Stay(const PostureSet& in, std::optional<size_t> previous,
                                std::optional<size_t> taken) const {
  PostureSet to;
  for (size_t i = 0; i < size(); ++i) to[i] = in[i] && Next(previous, i) == taken;
  return to;
}

PostureSet PostureChoices::Drift(const PostureSet& from, bool is_active,
                                 std::optional<size_t> previous) const {
  if (is_active) return from | Move(from, false, previous, std::nullopt);
  PostureSet to = from;
  std::vector<bool> rotations(361);
  for (size_t i = 0; i < size(); ++i) {
    if (from[i]) rotations[static_cast<size_t>(at(i).rotation)] = true;
  }
  for (size_t i = 0; i < size(); ++i) {
    if (at(i).hinge_angle && rotations[static_cast<size_t>(at(i).rotation)]) to.set(i);
  }
  return to;
}

PostureSet PostureChoices::AnyRotation(const PostureSet& from) const {
  std::vector<bool> angles(182);
  const auto angle_of = [this](size_t i) {
    return static_cast<size_t>(at(i).hinge_angle.value_or(-1) + 1);
  };
  for (size_t i = 0; i < size(); ++i) {
    if (from[i]) angles[angle_of(i)] = true;
  }
  PostureSet to;
  for (size_t i = 0; i < size(); ++i) to[i] = angles[angle_of(i)];
  return to;
}

}  // namespace brelmo::tavi::tools
