#include "trial/module_check.h"

#include <stdexcept>

#include "console/input.h"
#include "loaded_module.h"
#include "process/child_process.h"
#include "trial/module_file.h"

namespace brelmo::tavi::tools {

namespace {

ChildLimits LimitsOf(std::chrono::milliseconds patience) {
  ChildLimits limits;
  limits.time = 2 * patience;
  limits.end_time = patience;
  return limits;
}

// Runs `work` within `patience`; what it throws is its report.
ChildEnd Try(const char* activity, std::chrono::milliseconds patience,
             const std::function<void()>& work) {
  return RunChild(LimitsOf(patience), [&](ChildReport& report) {
    report.Set(activity, patience);
    try {
      work();
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
  const ChildEnd end = Try("reading the module's file", patience, [&path] { CheckIsModule(path); });
  if (!end.report.empty()) throw InputError(end.report);
  if (end.how == ChildEnd::How::kTimedOut) {
    throw InputError(path + ": reading it takes too long; is it a library?");
  }
  if (end.how != ChildEnd::How::kReturned) {
    throw InputError(path + ": cannot be read as a library: the process that did " + end.death);
  }
}

std::string FindWhyNotTaken(const std::string& path, std::chrono::milliseconds patience) {
  const ChildEnd end =
      Try("loading the module", patience, [&path] { const simulator::LoadedModule module(path); });
  if (end.how == ChildEnd::How::kTimedOut) return "the module did not return from: " + end.activity;
  if (!end.report.empty()) return end.report;
  if (end.how == ChildEnd::How::kDied) {
    return "the module " + end.death + " during: " + end.activity;
  }
  return "";
}

}  // namespace brelmo::tavi::tools
