// Any bytes as what came back from the field: a log, a dump, a capture, or all of them.
#include <cstdint>
#include <string>

#include "capture/material.h"
#include "console/input.h"
#include "diagnose/story.h"
#include "fuzz_check.h"

namespace brelmo::tavi::fuzz {

namespace {

using tools::Material;
using tools::StoryEvent;

void CheckStory(const Material& material) {
  const tools::Story story = tools::BuildStory(material);
  for (const tools::Life& life : story.lives) {
    for (const uint32_t number : life.init) FUZZ_CHECK(number < material.entries.size());
    for (size_t i = 0; i < life.events.size(); ++i) {
      const StoryEvent& event = life.events[i];
      FUZZ_CHECK(event.entry < material.entries.size() ||
                 event.delivery < material.deliveries.size());
      FUZZ_CHECK(event.cause == UINT32_MAX || event.cause < i);
      const auto cases =
          static_cast<int>(life.is_captured ? story.responses.size() : material.keys.size());
      FUZZ_CHECK(event.to < cases && event.from < cases && event.in_force < cases);
      tools::TimeText(material, event);
      tools::TimeBetween(material, story, life.events.front(), event);
    }
  }
}

void Check(const std::string& bytes) {
  static const Folder folder;
  folder.Write("material", bytes);
  Material material;
  try {
    material =
        tools::ReadMaterial({folder.path("material")}, [](uint64_t, std::optional<uint64_t>) {});
  } catch (const tools::InputError& error) {
    FUZZ_CHECK(error.what()[0] != '\0');
    return;
  }
  const tools::MaterialFile& file = material.files.at(0);
  FUZZ_CHECK(file.entries + file.dumps + file.deliveries > 0);
  FUZZ_CHECK(material.entries.size() == file.entries && file.entries <= file.lines);
  for (const tools::LogEntry& entry : material.entries) {
    FUZZ_CHECK(entry.line >= 1 && entry.line <= file.lines);
  }
  for (const tools::Delivery& delivery : material.deliveries) {
    FUZZ_CHECK(delivery.place.offset + delivery.size <= bytes.size());
    for (const auto& response : {delivery.left, delivery.right}) {
      FUZZ_CHECK(!response || *response < material.responses.size());
    }
  }
  CheckStory(material);
}

}  // namespace

}  // namespace brelmo::tavi::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  brelmo::tavi::fuzz::Check({reinterpret_cast<const char*>(data), size});
  return 0;
}
