#include "capture/log_lines.h"

#include <algorithm>

namespace brelmo::tavi::tools {

namespace {

using android::base::ERROR;
using android::base::INFO;
using android::base::WARNING;

// "update case keys: previous" begins as "update case keys: " does: the longer form comes first. So
// with "common event : unsupported event ".
const std::vector<LogLineForm>* const kForms = new std::vector<LogLineForm>{
    {LogEvent::kNoMemory, ERROR, kEntryTag, "compensation_init", ": fail to allocate memory",
     LogArguments::kNone},
    {LogEvent::kInvalidParameters, ERROR, kEntryTag, "compensation_init", ": invalid parameters ",
     LogArguments::kText},
    {LogEvent::kNoListeners, ERROR, kEntryTag, "compensation_init",
     ": failed to initialize events listeners", LogArguments::kNone},
    {LogEvent::kNoHingeAngle, ERROR, kEntryTag, "compensation_init",
     ": failed to register hinge angle", LogArguments::kNone},
    {LogEvent::kInitialized, INFO, kEntryTag, "compensation_init", ": initialize successfully",
     LogArguments::kNone},
    {LogEvent::kNoCommonClient, WARNING, kEntryTag, "Initialize",
     ": Failed to register common event handler(", LogArguments::kNumber, "", ")"},
    {LogEvent::kUnsupportedCommonEvent, INFO, kEntryTag, "",
     "audio_hw_compensation: common event : unsupported event ", LogArguments::kNumber},
    {LogEvent::kCommonEvent, INFO, kEntryTag, "", "audio_hw_compensation: common event ",
     LogArguments::kNumber},
    {LogEvent::kUnsupportedUsecaseEvent, WARNING, kEntryTag, "",
     "audio_hw_compensation: use case event: unsupported event ", LogArguments::kNumber},
    {LogEvent::kUsecaseEvent, INFO, kEntryTag, "", "audio_hw_compensation: use case event ",
     LogArguments::kNumber},
    {LogEvent::kMalformedItem, WARNING, kEngineTag, "GetConfig", "invalid name and value ",
     LogArguments::kText},
    {LogEvent::kInvalidConfigName, ERROR, kEngineTag, "ParseConfig", ": invalid config name ",
     LogArguments::kText},
    {LogEvent::kConditionCount, ERROR, kEngineTag, "ParseConfig",
     ": invalid parm size, current:", LogArguments::kTwoNumbers, ", failed: "},
    {LogEvent::kMissingOutput, ERROR, kEngineTag, "ParseConfig", ": output ", LogArguments::kText,
     "", " is missed."},
    {LogEvent::kInvalidCase, ERROR, kEngineTag, "ParseConfig", ": invalid case ",
     LogArguments::kText},
    {LogEvent::kInvalidCondition, ERROR, kEngineTag, "ParseConfig", ": invalid condition name ",
     LogArguments::kText},
    {LogEvent::kOutputCount, ERROR, kEngineTag, "ParseOutput",
     ": invalid output value size: ", LogArguments::kNumber},
    {LogEvent::kOutputType, ERROR, kEngineTag, "ParseOutput", ": invalid output value type ",
     LogArguments::kNone},
    {LogEvent::kNullRule, ERROR, kEngineTag, "ParseRule", ": null rule data for name ",
     LogArguments::kText},
    {LogEvent::kInvalidRuleValue, ERROR, kEngineTag, "ParseRule", ": invalid rule data name ",
     LogArguments::kText},
    {LogEvent::kUnsupportedRule, ERROR, kEngineTag, "ParseRule",
     ": unsupported rule data for name ", LogArguments::kText},
    {LogEvent::kNoIndexForValue, ERROR, kEngineTag, "ParseRule", ": invalid index by ",
     LogArguments::kText},
    {LogEvent::kNoIndexAtAll, ERROR, kEngineTag, "ParseRule",
     ": unable to find index in rule data ", LogArguments::kNone},
    {LogEvent::kIndexDataSize, ERROR, kIndexTag, "UpdateDecisionRules", ": invalid data size ",
     LogArguments::kNumber},
    {LogEvent::kIndexRange, ERROR, kIndexTag, "UpdateDecisionRules", ": invalid range ",
     LogArguments::kTwoNumbers, " ~ "},
    {LogEvent::kIndexNoInput, ERROR, kIndexTag, "UpdateDecisionRules", ": invalid input.",
     LogArguments::kNone},
    {LogEvent::kIndexValue, ERROR, kIndexTag, "UpdateDecisionRules", ": invalid value found ",
     LogArguments::kNumber},
    {LogEvent::kReadFailed, ERROR, kEngineTag, "ParseQuantityFromFile", ": read failed",
     LogArguments::kNone},
    {LogEvent::kInvalidContent, ERROR, kEngineTag, "ParseQuantityFromFile", ": invalid content ",
     LogArguments::kText},
    {LogEvent::kInvalidData, ERROR, kEngineTag, "ParseQuantityFromFile",
     ": invalid data: real=", LogArguments::kText},
    {LogEvent::kInvalidRawSize, ERROR, kEngineTag, "SetRawData", ": invalid raw size ",
     LogArguments::kNumber},
    {LogEvent::kRawDataSet, INFO, kEngineTag, "SetRawData", ": set raw data size ",
     LogArguments::kNumber},
    {LogEvent::kStatusAccepted, INFO, kEngineTag, "UpdateModuleStatus",
     ": update tuning with size ", LogArguments::kNumber},
    {LogEvent::kStatusRefused, ERROR, kEngineTag, "UpdateModuleStatus", ": fail to update tuning.",
     LogArguments::kNone},
    {LogEvent::kCaseChanged, INFO, kEngineTag, "UpdateTuningData", ": update case keys: previous",
     LogArguments::kTwoKeys, " -> "},
    {LogEvent::kCaseTaken, INFO, kEngineTag, "UpdateTuningData",
     ": update case keys: ", LogArguments::kKeys},
    {LogEvent::kNoOutput, WARNING, kEngineTag, "UpdateTuningData", ": output data is empty",
     LogArguments::kNone},
    {LogEvent::kNoValidData, WARNING, kEngineTag, "UpdateTuningData", ": no valid data",
     LogArguments::kNone},
    {LogEvent::kInvalidType, WARNING, kEngineTag, "UpdateTuningData", ": invalid type",
     LogArguments::kNone},
    {LogEvent::kPackageFailed, WARNING, kEngineTag, "UpdateTuningData", ": fail to package data",
     LogArguments::kNone},
    {LogEvent::kPackageNothing, WARNING, kEngineTag, "PackageTaviCompensationData",
     ": invalid parameters", LogArguments::kNone},
    {LogEvent::kPackageRoom, WARNING, kEngineTag, "PackageTaviCompensationData",
     ": insufficient memory", LogArguments::kNone},
    {LogEvent::kSizeMismatch, INFO, kEngineTag, "UpdateTuningData", ": invalid data ",
     LogArguments::kTwoNumbers, ", "},
    {LogEvent::kWriteAccepted, INFO, kEngineTag, "UpdateTuningData", ": update tuning with size ",
     LogArguments::kNumber},
    {LogEvent::kWriteRefused, ERROR, kEngineTag, "UpdateTuningData", ": fail to update tuning.",
     LogArguments::kNone},
};

bool TakeNumber(std::string_view& text, int& number) {
  const auto value = TakeInt(text);
  number = value.value_or(0);
  return value.has_value();
}

bool TakeArguments(const LogLineForm& form, std::string_view rest, LogMessage& message) {
  switch (form.arguments) {
    case LogArguments::kNone:
      break;
    case LogArguments::kNumber:
      if (!TakeNumber(rest, message.numbers[0])) return false;
      break;
    case LogArguments::kTwoNumbers:
      if (!TakeNumber(rest, message.numbers[0]) || !TakeWord(rest, form.between) ||
          !TakeNumber(rest, message.numbers[1])) {
        return false;
      }
      break;
    case LogArguments::kText: {
      const size_t size = rest.size();
      if (size < form.end.size()) return false;
      message.text = rest.substr(0, size - form.end.size());
      rest.remove_prefix(message.text.size());
      break;
    }
    case LogArguments::kKeys:
      message.keys[0] = TakeKeys(rest);
      if (!message.keys[0]) return false;
      break;
    case LogArguments::kTwoKeys:
      message.keys[0] = TakeKeys(rest);
      if (!message.keys[0] || !TakeWord(rest, form.between)) return false;
      message.keys[1] = TakeKeys(rest);
      if (!message.keys[1]) return false;
      break;
  }
  return rest == form.end;
}

// Whether `message` is the fixed text of the form or the beginning of it.
bool IsBeginningOf(std::string_view message, const LogLineForm& form) {
  const size_t in_function = std::min(message.size(), form.function.size());
  if (message.substr(0, in_function) != form.function.substr(0, in_function)) return false;
  message.remove_prefix(in_function);
  const size_t in_fragment = std::min(message.size(), form.fragment.size());
  return message.substr(0, in_fragment) == form.fragment.substr(0, in_fragment);
}

// Some keep blanks at a line's end, some do not.
std::string_view WithoutBlanksAtEnd(std::string_view text) {
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return text;
}

}  // namespace

const std::vector<LogLineForm>& LogLineForms() { return *kForms; }

std::optional<LogMessage> ParseLogMessage(std::string_view message, bool has_tag) {
  // Every line begins with one of these.
  if (message.empty() || std::string_view("acGIPSU").find(message[0]) == std::string_view::npos) {
    return has_tag ? std::optional<LogMessage>(LogMessage()) : std::nullopt;
  }
  bool is_cut = false;
  for (const LogLineForm& form : *kForms) {
    std::string_view rest = message;
    const std::string_view fragment =
        form.arguments == LogArguments::kNone ? WithoutBlanksAtEnd(form.fragment) : form.fragment;
    if (TakeWord(rest, form.function) && TakeWord(rest, fragment)) {
      LogMessage found;
      found.event = form.event;
      const bool is_text = form.arguments == LogArguments::kText && form.end.empty();
      if (TakeArguments(form, is_text ? rest : WithoutBlanksAtEnd(rest), found)) return found;
      is_cut = true;
    } else if (IsBeginningOf(message, form)) {
      is_cut = true;
      // A text of no characters, its blank lost.
      if (form.event == LogEvent::kInvalidParameters &&
          message.size() + 1 == form.function.size() + form.fragment.size()) {
        LogMessage found;
        found.event = form.event;
        return found;
      }
    }
  }
  if (!has_tag) return std::nullopt;
  LogMessage found;
  found.event = is_cut ? LogEvent::kCut : LogEvent::kUnknown;
  return found;
}

}  // namespace brelmo::tavi::tools
