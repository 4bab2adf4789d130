// Which postures the device can have been in, from what the module did in it. Hinge readings are
// not logged, and of a rotation only that there was one.
#pragma once

#include <bitset>
#include <cstddef>
#include <optional>
#include <vector>

#include "check/posture_probe.h"

namespace brelmo::tavi::tools {

constexpr size_t kMostPostures = 1024;
// Of those in the order of AllPostures().
using PostureSet = std::bitset<kMostPostures>;

// The choices of an engine with one configuration. A case here is the first one of those with the
// same keys, which the engine takes for one.
class PostureChoices {
 public:
  // `postures` are of AllPostures(), in their order; `same_as` gives each case the first one with
  // its keys.
  PostureChoices(std::vector<PostureResult> postures, const std::vector<size_t>& same_as);

  size_t size() const { return postures_.size(); }
  const Posture& at(size_t posture) const { return postures_[posture].posture; }
  // The case that an update takes while `previous` is the one sent last; empty when it takes no
  // case.
  std::optional<size_t> Next(std::optional<size_t> previous, size_t posture) const;
  // The postures in which it takes this one, whatever was before.
  PostureSet PosturesOf(size_t case_number) const;
  // Whether updates in some posture take these two by turns.
  bool Alternate(size_t a, size_t b) const;
  PostureSet Everywhere() const;
  // Before the first reading, at rotation 0: as the module starts.
  PostureSet Start() const;

  // Where the device can be after a change of the hinge or of the rotation (as `is_rotation` says)
  // that made the engine take `taken` (none: no case) over `previous`.
  PostureSet Move(const PostureSet& from, bool is_rotation, std::optional<size_t> previous,
                  std::optional<size_t> taken) const;
  // The postures of `in` where the engine takes `taken` without having moved.
  PostureSet Stay(const PostureSet& in, std::optional<size_t> previous,
                  std::optional<size_t> taken) const;
  // With hinge readings that no line tells of: any while no call is on (`is_active` false), else
  // those that take no case.
  PostureSet Drift(const PostureSet& from, bool is_active, std::optional<size_t> previous) const;
  // With a rotation while no call is on.
  PostureSet AnyRotation(const PostureSet& from) const;

 private:
  std::vector<PostureResult> postures_;
};

}  // namespace brelmo::tavi::tools
