#!/usr/bin/env python3
"""Deliberate defects of the module, and whether the validator catches them.

    defects.py list                              NAME SOURCE_FILE STRESS, a line for each defect
    defects.py make NAME FOLDER OUTPUT           the source file in FOLDER, with the defect
    defects.py check NAME TAVI LIBRARY           exit code 0: the test that has to catch it does
    defects.py stress NAME TAVI LIBRARY          exit code 0: the stress test catches it, too

A defect is a small edit of a source file. An edit that does not fit the source any more is an error.
"""

import json
import shlex
import subprocess
import sys
import tempfile
from pathlib import Path
from typing import NamedTuple

ENGINE = "telephony_speaker_compensation.cpp"
ENTRY = "telephony_speaker_compensation_api.cpp"
INDEX = "index.cpp"
FRAMING = "tavi_compensation.h"


class Defect(NamedTuple):
    name: str
    source: str
    old: str
    new: str
    caught_by: str  # the test of the validator that has to catch it
    verdict: str = "failed"  # or "not run": what has to be said of it before any test is
    # What the stress test makes of it: "run", a scenario that fails in a run, or "other", a failure
    # that a run does not see.
    stress: str = ""


DEFECTS = [
    # ---- What is sent, and when ----
    Defect("dropped-status", ENGINE, "  UpdateModuleStatus(active);\n",
           "  if (active) UpdateModuleStatus(active);\n", "scenario.common-value-first", stress="run"),
    Defect("repeated-status", ENGINE,
           "  if (active == is_supported_scenario_active_.get()) return;\n",
           "", "scenario.once-however-often"),
    Defect("update-without-change", ENGINE,
           "  if (active == is_supported_scenario_active_.get()) return;\n",
           "  if (active == is_supported_scenario_active_.get()) {\n"
           "    UpdateTuningData();\n    return;\n  }\n", "cases.scenario-unchanged", stress="run"),
    Defect("status-behind-data", ENGINE, "  UpdateModuleStatus(active);\n  UpdateTuningData();\n",
           "  UpdateTuningData();\n  UpdateModuleStatus(active);\n", "cases.scenario-end", stress="other"),
    Defect("stale-byte", ENGINE,
           "  const uint32_t status = active ? 1 : 0;\n",
           "  static uint32_t status = 0;\n  status |= active ? 1U : 0x100U;\n",
           "scenario.status-bytes", stress="run"),
    Defect("retry", ENGINE, "WriteCompensationData(buffer.get(), total)) {",
           "WriteCompensationData(buffer.get(), total) ||\n"
           "      tuner_deliverer_->WriteCompensationData(buffer.get(), total)) {",
           "cases.refused-writes", stress="run"),
    Defect("forgotten-refused-case", ENGINE, "size \" << total;\n  } else {\n",
           "size \" << total;\n  } else {\n    previous_case_keys_.set(nullptr);\n",
           "cases.refused-writes"),
    Defect("kept-over-scenarios", ENGINE,
           "    previous_case_keys_.set(nullptr);\n", "",
           "cases.scenario-end", stress="run"),
    Defect("sent-again", ENGINE, "  return is_sent ? other : first;", "  return first;",
           "cases.separate-ranges", stress="run"),
    Defect("no-turns", ENGINE, "  return is_sent ? other : first;",
           "  return is_sent ? nullptr : first;", "cases.overlap"),
    Defect("swapped-channels", ENGINE,
           "kLeftMessageType = 16;\nconstexpr int32_t kRightMessageType = 17;",
           "kLeftMessageType = 17;\nconstexpr int32_t kRightMessageType = 16;", "message.bytes", stress="run"),
    Defect("size-with-header", FRAMING, "static_cast<uint32_t>(size);",
           "static_cast<uint32_t>(size + kTaviMessageHeaderSize);", "message.bytes"),
    Defect("missing-log-line", ENGINE,
           "    LOG(WARNING) << __func__ << \": no valid data\";\n", "", "message.empty-channel"),
    Defect("keys-equal-by-indices", ENGINE, "first->first == *previous);",
           "\n                       std::equal(first->first.begin(), first->first.end(),\n"
           "                                  previous->begin(), previous->end(),\n"
           "                                  [](const CaseKey& a, const CaseKey& b) {\n"
           "                                    return a.supported_indices == b.supported_indices;\n"
           "                                  }));", "cases.other-names", stress="run"),
    # ---- The scenario and the posture ----
    Defect("dead-without-cases", ENGINE, "  const bool active = ComputeSupportedScenario();\n",
           "  if (cases_.empty()) return;\n  const bool active = ComputeSupportedScenario();\n",
           "config.no-case-works", stress="run"),
    Defect("global-lock", ENGINE,
           "void TelephonySpeakerCompensation::OnSensorValueChanged(int angle) {\n",
           "static std::mutex all_engines;\n"
           "void TelephonySpeakerCompensation::OnSensorValueChanged(int angle) {\n"
           "  const std::lock_guard<std::mutex> guard(all_engines);\n", "init.two-devices"),
    Defect("third-common-value", ENGINE, "uint32_t, 2> kSupportedCommonValues = {5, 6}",
           "uint32_t, 3> kSupportedCommonValues = {5, 6, 7}", "scenario.other-values"),
    Defect("exclusive-maximum", ENGINE, "angle > HingeAngleIndex::kMaxAngle",
           "angle >= HingeAngleIndex::kMaxAngle", "scenario.posture"),
    Defect("exclusive-bound", INDEX, "angle <= candidate.second", "angle < candidate.second",
           "cases.separate-ranges", stress="run"),
    Defect("kept-refused-rule", INDEX, "      LOG(ERROR) << __func__ << \": invalid value found",
           "      rotation_indices_.emplace(values[0], next_index_++);\n"
           "      LOG(ERROR) << __func__ << \": invalid value found", "config.rotation-of-360"),
    # ---- Reading ----
    Defect("last-value-counts", ENGINE, "entries.emplace(std::move(parts[0]), std::move(parts[1]))",
           "entries[parts[0]] = parts[1]", "config.repeated-name"),
    Defect("followed-link", ENGINE, "/*follow_symlinks=*/false", "true", "data.symbolic-link"),
    Defect("short-flat-response", ENGINE, "kUnityBins = 257", "kUnityBins = 256", "data.missing"),
    Defect("half-read-file", ENGINE, "    if (!output.ParseQuantityFromFile(file_name)) {",
           "    if (!output.ParseQuantityFromFile(file_name) && output.raw_data.empty()) {",
           "data.text", stress="run"),
    # ---- The host's interface ----
    Defect("wrong-version", ENTRY, "HAL_EXT_MODULE_VERSION,", "HAL_EXT_MODULE_VERSION + 1,",
           "descriptor.bytes"),
    Defect("other-tuning-entry", ENTRY, "HAL_TUNING_ENTRY_OFFSET,", "HAL_TUNING_ENTRY_OFFSET + 64,",
           "the tuning entry at byte 2720 of the device record, not 2656", "not run"),
    Defect("other-usecase-value", ENTRY, "HAL_USECASE_VALUE_OFFSET)", "HAL_USECASE_VALUE_OFFSET + 4)",
           "the use case at byte 16 of the use-case record, not 12", "not run"),
    Defect("early-success-line", ENTRY,
           "  *handle = context;\n  LOG(INFO) << __func__ << \": initialize successfully\";\n",
           "  LOG(INFO) << __func__ << \": initialize successfully\";\n  *handle = context;\n",
           "init.success-line"),
    Defect("unsorted-registration", ENTRY, "{kScreenRotated, kValueAnnounced,\n",
           "{kValueAnnounced, kScreenRotated,\n", "init.hinge-angle"),
    Defect("sensor-for-all", ENTRY, "  if (HasHingeAngleCondition(checked)) {", "  {",
           "init.no-hinge-angle"),
    Defect("usecase-client-needed", ENTRY,
           "  event_allocate_usecase_event_client(",
           "  return 0 == event_allocate_usecase_event_client(", "init.no-usecase-client"),
    Defect("freed-own-context", ENTRY,
           "    audio_hal_free(device, *handle);\n    *handle = nullptr;\n    return -1;",
           "    audio_hal_free(device, context);\n    *handle = nullptr;\n    return -1;",
           "init.no-sensor"),
    Defect("leaked-context", ENTRY, "(*handle));\n  audio_hal_free(device, *handle);\n",
           "(*handle));\n", "deinit.all", stress="run"),
    Defect("client-freed-twice", ENTRY,
           "  if (usecase_client_ != nullptr) event_free",
           "  if (common_client_ != nullptr) event_free_common_event_client(device_, "
           "&common_client_);\n  if (usecase_client_ != nullptr) event_free", "deinit.all"),
    Defect("followed-null-cookie", ENTRY,
           "void OnCommonEvent(hal_common_event_t event, void* data, void* cookie) {\n"
           "  if (cookie == nullptr) return;\n",
           "void OnCommonEvent(hal_common_event_t event, void* data, void* cookie) {\n",
           "init.cookies", "crashed"),
    Defect("wrong-severity", ENTRY,
           "LOG(WARNING) << \"audio_hw_compensation: use case event: unsupported",
           "LOG(INFO) << \"audio_hw_compensation: use case event: unsupported",
           "scenario.unsupported-events"),
    Defect("changed-errno", ENGINE, "    LOG(ERROR) << __func__ << \": fail to update tuning.\";\n"
           "  }\n}\n\n// ---- Dump",
           "    LOG(ERROR) << __func__ << \": fail to update tuning.\";\n    errno = EIO;\n"
           "  }\n}\n\n// ---- Dump", "log.keeps-errno"),
    # ---- Threads ----
    Defect("lost-unlock", ENGINE,
           "  const std::lock_guard<std::mutex> lock(mutex_);\n"
           "  if (rotation == screen_rotation_.get()) return;\n",
           "  std::unique_lock<std::mutex> lock(mutex_);\n"
           "  if (rotation == screen_rotation_.get()) {\n"
           "    lock.release();\n    return;\n  }\n", "cases.rotations", "hung"),
    Defect("unlocked-posture", ENGINE,
           "  const std::lock_guard<std::mutex> lock(mutex_);\n"
           "  if (angle == hinge_angle_.get()) return;\n"
           "  hinge_angle_.set(angle);\n",
           "  if (angle == hinge_angle_.get()) return;\n"
           "  hinge_angle_.set(angle);\n"
           "  const std::lock_guard<std::mutex> lock(mutex_);\n", "threads.hinge-waits", stress="other"),
    Defect("angle-compared-unlocked", ENGINE,
           "  const std::lock_guard<std::mutex> lock(mutex_);\n"
           "  if (angle == hinge_angle_.get()) return;\n",
           "  if (angle == hinge_angle_.get()) return;\n"
           "  const std::lock_guard<std::mutex> lock(mutex_);\n", "threads.same-hinge-waits"),
    Defect("unlocked-write", ENGINE,
           "  if (tuner_deliverer_->WriteCompensationData(buffer.get(), total)) {",
           "  mutex_.unlock();\n"
           "  const bool is_written = tuner_deliverer_->WriteCompensationData(buffer.get(), total);\n"
           "  mutex_.lock();\n  if (is_written) {", "threads.start-waits", stress="other"),
    Defect("waiting-dump", ENGINE, "(int fd) const {\n  dprintf",
           "(int fd) const {\n"
           "  const std::lock_guard<std::mutex> lock(const_cast<std::mutex&>(mutex_));\n  dprintf",
           "dump.does-not-wait", "hung"),
]


def find(name):
    for defect in DEFECTS:
        if defect.name == name:
            return defect
    sys.exit(f"defects.py: no defect {name}")


def make(defect, folder, output):
    text = (Path(folder) / defect.source).read_text()
    if text.count(defect.old) != 1:
        sys.exit(f"defects.py: {defect.name} fits {text.count(defect.old)} places of {defect.source}")
    output = Path(output)
    output.parent.mkdir(parents=True, exist_ok=True)
    output.write_text(text.replace(defect.old, defect.new))


def check(defect, tavi, library):
    arguments = [tavi, "validate", library, "--format", "json", "--patience", "2"]
    if defect.verdict != "not run":
        arguments += ["--only", defect.caught_by]
    end = subprocess.run(arguments, stdout=subprocess.PIPE, text=True, check=False)
    print(end.stdout)
    if end.returncode != 1:
        sys.exit(f"{defect.name}: exit code {end.returncode}, not 1")
    if defect.verdict == "not run":
        said = json.loads(end.stdout.splitlines()[-1]).get("why_not_run", "")
        if defect.caught_by not in said:
            sys.exit(f"{defect.name}: {defect.caught_by!r} is not in {said!r}")
        return
    test = json.loads(end.stdout.splitlines()[0])
    if (test["name"], test["verdict"]) != (defect.caught_by, defect.verdict):
        sys.exit(f"{defect.name}: {test['name']} {test['verdict']}, not {defect.caught_by} "
                 f"{defect.verdict}")


def stress(defect, tavi, library):
    with tempfile.TemporaryDirectory() as folder:
        arguments = [tavi, "stress", library, "--seed", "7", "--seconds", "20", "-o", folder]
        end = subprocess.run(arguments, stdout=subprocess.PIPE, text=True, check=False)
        print(end.stdout)
        if end.returncode != 1:
            sys.exit(f"{defect.name}: exit code {end.returncode}, not 1")
        play = shlex.split(end.stdout.splitlines()[-1])
        run = subprocess.run([tavi, *play[1:]], stdout=subprocess.PIPE, text=True, check=False)
        if defect.stress == "run" and run.returncode != 1:
            sys.exit(f"{defect.name}: exit code {run.returncode} of the run, not 1")


def main():
    match sys.argv[1:]:
        case ["list"]:
            for defect in DEFECTS:
                print(defect.name, defect.source, defect.stress or "-")
        case ["make", name, folder, output]:
            make(find(name), folder, output)
        case ["check", name, tavi, library]:
            check(find(name), tavi, library)
        case ["stress", name, tavi, library]:
            stress(find(name), tavi, library)
        case _:
            sys.exit(__doc__)


if __name__ == "__main__":
    main()
