// Every line that the module can log, and what it says.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include <android-base/logging.h>

#include "capture/posture_keys.h"

namespace brelmo::tavi::tools {

// In the order of the source; the ranges of related ones below depend on it.
enum class LogEvent : uint8_t {
  // Init, in compensation_init and below.
  kNoMemory,
  kInvalidParameters,
  kNoListeners,
  kNoHingeAngle,
  kInitialized,
  kNoCommonClient,
  // What the host tells.
  kCommonEvent,
  kUnsupportedCommonEvent,
  kUsecaseEvent,
  kUnsupportedUsecaseEvent,
  // The configuration.
  kMalformedItem,
  kInvalidConfigName,
  kConditionCount,
  kMissingOutput,
  kInvalidCase,
  kInvalidCondition,
  kOutputCount,
  kOutputType,
  kNullRule,
  kInvalidRuleValue,
  kUnsupportedRule,
  kNoIndexForValue,
  kNoIndexAtAll,
  kIndexDataSize,
  kIndexRange,
  kIndexNoInput,
  kIndexValue,
  // Data files.
  kReadFailed,
  kInvalidContent,
  kInvalidData,
  kInvalidRawSize,
  kRawDataSet,
  // The scenario and the cases.
  kStatusAccepted,
  kStatusRefused,
  kCaseTaken,
  kCaseChanged,
  kNoOutput,
  kNoValidData,
  kInvalidType,
  kPackageFailed,
  kPackageNothing,
  kPackageRoom,
  kSizeMismatch,
  kWriteAccepted,
  kWriteRefused,
  // Under one of the module's tags, or with the name of one of its functions.
  kCut,      // the beginning of a line above
  kUnknown,  // of another version of the module
};

constexpr size_t kLogEventCount = static_cast<size_t>(LogEvent::kCut);

// What follows the fixed text of a line.
enum class LogArguments : uint8_t { kNone, kNumber, kTwoNumbers, kText, kKeys, kTwoKeys };

struct LogLineForm {
  LogEvent event;
  android::base::LogSeverity severity;
  std::string_view tag;
  std::string_view function;  // empty for a line without one
  std::string_view fragment;  // behind the function's name
  LogArguments arguments = LogArguments::kNone;
  std::string_view between = {};  // of two arguments
  std::string_view end = {};      // behind the last one
};

// One or more for each event up to kCut.
const std::vector<LogLineForm>& LogLineForms();

constexpr std::string_view kEntryTag = "audio_hw_compensation";
constexpr std::string_view kEngineTag = "audio_hw_telephony_speaker_compensation";
constexpr std::string_view kIndexTag = "AHal::CompensationIndex";

struct LogMessage {
  LogEvent event = LogEvent::kUnknown;
  int numbers[2] = {0, 0};
  std::optional<PostureKeys> keys[2];  // of two, the previous ones first
  std::string_view text;               // of the message given
};

// None for a message that is not the module's. `has_tag`: it stood under one of the module's tags;
// one that did not has to be whole.
std::optional<LogMessage> ParseLogMessage(std::string_view message, bool has_tag);

inline bool IsWithin(LogEvent event, LogEvent first, LogEvent last) {
  return first <= event && event <= last;
}
// A case that init refuses, or text that it does not read.
inline bool IsConfigFault(LogEvent event) {
  return event == LogEvent::kInvalidParameters ||
         IsWithin(event, LogEvent::kMalformedItem, LogEvent::kIndexValue);
}
// Of what init alone does.
inline bool IsOfInit(LogEvent event) {
  return IsWithin(event, LogEvent::kNoMemory, LogEvent::kNoCommonClient) || IsConfigFault(event) ||
         IsWithin(event, LogEvent::kReadFailed, LogEvent::kRawDataSet);
}
inline bool IsFileFault(LogEvent event) {
  return IsWithin(event, LogEvent::kReadFailed, LogEvent::kInvalidData);
}
// What the host tells the module.
inline bool IsToldByHost(LogEvent event) {
  return event == LogEvent::kCommonEvent || event == LogEvent::kUsecaseEvent;
}
inline bool IsCase(LogEvent event) {
  return event == LogEvent::kCaseTaken || event == LogEvent::kCaseChanged;
}
// What becomes of a case taken.
inline bool IsCaseOutcome(LogEvent event) {
  return IsWithin(event, LogEvent::kNoOutput, LogEvent::kWriteRefused) &&
         event != LogEvent::kInvalidType && event != LogEvent::kPackageNothing &&
         event != LogEvent::kPackageRoom;
}
inline bool IsStatus(LogEvent event) {
  return event == LogEvent::kStatusAccepted || event == LogEvent::kStatusRefused;
}

}  // namespace brelmo::tavi::tools
