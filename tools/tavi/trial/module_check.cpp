#include "trial/module_check.h"

#include <stdexcept>

#include "console/input.h"
#include "loaded_module.h"
#include "process/child_process.h"
#include "process/machine_error.h"
#include "trial/host_match.h"
#include "trial/module_file.h"

namespace brelmo::tavi::tools {

namespace {

ChildLimits LimitsOf(std::chrono::milliseconds patience) {
  ChildLimits limits;
  limits.time = 2 * patience;
  limits.end_time = patience;
  return limits;
}

// Runs `work` within `patience`; what it finds or throws is its report.
ChildEnd Try(const char* activity, std::chrono::milliseconds patience,
             const std::function<std::string()>& work) {
  return RunChild(LimitsOf(patience), [&](ChildReport& report) {
    report.Set(activity, patience);
    try {
      report.Add(work());
    } catch (const MachineError&) {
      throw;
    } catch (const std::runtime_error& error) {
      report.Add(error.what());
      return 1;
    }
    return 0;
  });
}

}  // namespace

void RequireModule(const std::string& path, std::chrono::milliseconds patience) {
  const ChildEnd end = Try("reading the module's file", patience, [&path] {
    CheckIsModule(path);
    return std::string();
  });
  if (!end.report.empty()) throw InputError(end.report);
  if (end.how == ChildEnd::How::kTimedOut) {
    throw InputError(path + ": reading it takes too long; is it a library?");
  }
  if (end.how != ChildEnd::How::kReturned) {
    throw InputError(path + ": cannot be read as a library: the process that did " + end.death);
  }
}

std::string FindWhyNotTaken(const std::string& path, std::chrono::milliseconds patience) {
  const ChildEnd loading = Try("loading the module", patience, [&path] {
    const simulator::LoadedModule module(path);
    return std::string();
  });
  if (loading.how == ChildEnd::How::kTimedOut) {
    return "the module did not return from: " + loading.activity;
  }
  if (!loading.report.empty()) return loading.report;
  if (loading.how == ChildEnd::How::kDied) {
    return "the module " + loading.death + " during: " + loading.activity;
  }
  // What a module makes of a call is the tests' affair; so is a death of it.
  const ChildEnd call = Try("playing a call", patience,
                            [&path] { return FindOtherOffsets(simulator::LoadedModule(path)); });
  if (call.how != ChildEnd::How::kReturned || call.result != 0 || call.report.empty()) return "";
  return path + ": is built for another host: it looks for " + call.report +
         ". To judge it takes a tavi that was built with the same hal_audio_platform.h";
}

}  // namespace brelmo::tavi::tools
