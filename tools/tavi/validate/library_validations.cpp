// The library as a file, and what its descriptor says.
#include <cxxabi.h>
#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>

#include "console/wording.h"
#include "hal_audio_platform.h"
#include "trial/module_file.h"
#include "validate/validation.h"

namespace brelmo::tavi::tools {

namespace {

constexpr const char* kDescriptor = "HAL_PLATFORM_EXT_AUD_MODULE";
constexpr size_t kDescriptorSize = 32;
constexpr std::array<const char*, 3> kEntryPoints = {"compensation_init", "compensation_deinit",
                                                     "compensation_dump"};
const std::set<std::string> kHostFunctions = {
    "audio_hal_calloc",
    "audio_hal_free",
    "event_allocate_common_event_client",
    "event_allocate_usecase_event_client",
    "event_free_common_event_client",
    "event_free_usecase_event_client",
    "sensor_registerHingeAngleSensorCallback",
    "sensor_deregisterHingeAngleSensorCallback",
    "sensor_registerProximitySensorCallback",
    "sensor_deregisterProximitySensorCallback",
};

const DynamicSymbol* Find(const LibraryFile& file, const std::string& name) {
  for (const DynamicSymbol& symbol : file.symbols) {
    if (symbol.is_defined && symbol.name == name) return &symbol;
  }
  return nullptr;
}

void CheckExports(Trial& trial) {
  const LibraryFile file = ReadLibraryFile(trial.setup().module);
  const DynamicSymbol* const descriptor = Find(file, kDescriptor);
  trial.Expect(descriptor != nullptr, std::string(kDescriptor) + " is not defined");
  if (descriptor != nullptr) {
    // The address sanitizer counts its red zone as part of an object.
    const bool has_red_zone =
        std::any_of(file.symbols.begin(), file.symbols.end(), [](const DynamicSymbol& symbol) {
          return !symbol.is_defined && symbol.name == "__asan_init";
        });
    trial.Expect(!descriptor->is_function && (descriptor->size == kDescriptorSize ||
                                              (has_red_zone && descriptor->size > kDescriptorSize)),
                 std::string(kDescriptor) + " is no object of 32 bytes: " +
                     (descriptor->is_function ? "a function of " : "an object of ") +
                     Count(descriptor->size, "byte"));
  }
  for (const char* const name : kEntryPoints) {
    const DynamicSymbol* const entry = Find(file, name);
    trial.Expect(entry != nullptr && entry->is_function,
                 std::string(name) + " is not defined as a function");
  }
}

std::string Demangled(const std::string& name) {
  const std::unique_ptr<char, void (*)(void*)> text(
      abi::__cxa_demangle(name.c_str(), nullptr, nullptr, nullptr), std::free);
  return text == nullptr ? name : text.get();
}

void CheckNothingElseIsExported(Trial& trial) {
  std::set<std::string> known(kEntryPoints.begin(), kEntryPoints.end());
  known.insert(kDescriptor);
  // Marks that linkers and start files leave.
  known.insert({"_init", "_fini", "_edata", "_end", "__end__", "__bss_start", "__bss_start__",
                "__bss_end__", "_bss_end__", "__cfi_check"});
  constexpr size_t kMost = 5;  // that are named
  size_t count = 0;
  for (const DynamicSymbol& symbol : ReadLibraryFile(trial.setup().module).symbols) {
    if (!symbol.is_defined || known.count(symbol.name) != 0) continue;
    if (++count > kMost) continue;
    trial.Fail(Demangled(symbol.name) + " is defined for every library of the host's process");
  }
  if (count > kMost) trial.Fail("and " + std::to_string(count - kMost) + " more");
}

// The address is in the running program itself.
bool IsInThisProgram(const void* address) {
  Dl_info found;
  Dl_info own;
  return dladdr(address, &found) != 0 &&
         dladdr(reinterpret_cast<const void*>(&IsInThisProgram), &own) != 0 &&
         found.dli_fbase == own.dli_fbase;
}

void CheckImports(Trial& trial) {
  std::set<std::string> missing = kHostFunctions;
  for (const DynamicSymbol& symbol : ReadLibraryFile(trial.setup().module).symbols) {
    if (symbol.is_defined || missing.erase(symbol.name) != 0) continue;
    // Those of the C and C++ libraries have versions, or are mangled, or begin with underscores.
    if (symbol.is_weak || symbol.has_version || symbol.name[0] == '_') continue;
    const void* const address = dlsym(RTLD_DEFAULT, symbol.name.c_str());
    trial.Expect(address != nullptr && !IsInThisProgram(address),
                 symbol.name + " is asked of the host, which does not promise it");
  }
  // Without the proximity pair: a build may leave out what nothing calls.
  for (const std::string& name : missing) {
    trial.Expect(name.find("Proximity") != std::string::npos, name + " is not asked for");
  }
}

void CheckSegments(Trial& trial) {
  const LibraryFile file = ReadLibraryFile(trial.setup().module);
  trial.Expect(!file.has_text_relocations, "it has text relocations");
  trial.Expect(!file.has_executable_stack, "it asks for an executable stack");
}

void* Load(Trial& trial) {
  const std::string& path = trial.setup().module;
  trial.report().Set("loading the module", trial.setup().patience);
  void* const library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) trial.Abandon(dlerror());
  return library;
}

unsigned char* LoadDescriptor(Trial& trial) {
  auto* const descriptor = static_cast<unsigned char*>(dlsym(Load(trial), kDescriptor));
  if (descriptor == nullptr) trial.Abandon(std::string(kDescriptor) + " is not defined");
  return descriptor;
}

std::string Hex(const unsigned char* bytes, size_t count) {
  std::string text;
  for (size_t i = 0; i < count; ++i) {
    constexpr const char* kDigits = "0123456789abcdef";
    if (i > 0) text += ' ';
    text += kDigits[bytes[i] / 16];
    text += kDigits[bytes[i] % 16];
  }
  return text;
}

void CheckDescriptorBytes(Trial& trial) {
  const std::array<uint32_t, 2> expected = {HAL_EXT_MODULE_TAG, HAL_EXT_MODULE_VERSION};
  trial.ExpectText("the first bytes of the descriptor",
                   Hex(reinterpret_cast<const unsigned char*>(expected.data()), sizeof(expected)),
                   Hex(LoadDescriptor(trial), sizeof(expected)));
}

void CheckDescriptorEntries(Trial& trial) {
  void* const library = Load(trial);
  std::array<void*, kEntryPoints.size()> entries{};
  std::memcpy(entries.data(), LoadDescriptor(trial) + 8, sizeof(entries));
  for (size_t i = 0; i < entries.size(); ++i) {
    const std::string at = "the entry at offset " + std::to_string(8 + 8 * i);
    trial.Expect(entries[i] != nullptr, at + " is null");
    trial.Expect(entries[i] == dlsym(library, kEntryPoints[i]), at + " is not " + kEntryPoints[i]);
  }
}

void CheckDescriptorIsWritable(Trial& trial) {
  unsigned char* const descriptor = LoadDescriptor(trial);
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) trial.Abandon("no pipe can be made");
  // The kernel reports what would kill a process that tried by itself.
  trial.Expect(write(ends[1], descriptor, kDescriptorSize) == ssize_t{kDescriptorSize} &&
                   read(ends[0], descriptor, kDescriptorSize) == ssize_t{kDescriptorSize},
               "its 32 bytes are not all in writable memory");
}

}  // namespace

void AddLibraryValidations(Validations& validations) {
  const auto add = [&validations](const char* name, const char* holds, void (*run)(Trial&)) {
    validations.push_back({name, holds, run, /*is_of_the_file=*/true});
  };
  add("library.exports",
      "The descriptor, an object of 32 bytes, and the three entry points are defined.",
      CheckExports);
  add("library.exports-nothing-else", "No other symbol is defined for the host's process.",
      CheckNothingElseIsExported);
  add("library.imports", "No function is asked of the host but those that it promises.",
      CheckImports);
  add("library.segments", "There are no text relocations, and the stack is not executable.",
      CheckSegments);
  add("descriptor.bytes", "The descriptor begins with the tag and the version of this host.",
      CheckDescriptorBytes);
  add("descriptor.entries", "The descriptor's entries are compensation_init, _deinit and _dump.",
      CheckDescriptorEntries);
  add("descriptor.writable", "The descriptor is in writable memory.", CheckDescriptorIsWritable);
}

}  // namespace brelmo::tavi::tools
