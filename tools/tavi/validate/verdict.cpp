#include "validate/verdict.h"

#include <algorithm>

#include "trial/trial.h"

namespace brelmo::tavi::tools {

std::vector<std::string> Split(const std::string& text, char end) {
  std::vector<std::string> pieces;
  for (size_t at = 0; at < text.size();) {
    const size_t next = std::min(text.find(end, at), text.size());
    pieces.push_back(text.substr(at, next - at));
    at = next + 1;
  }
  return pieces;
}

const char* VerdictName(Verdict::Kind kind) {
  switch (kind) {
    case Verdict::Kind::kHeld:
      return "held";
    case Verdict::Kind::kFailed:
      return "failed";
    case Verdict::Kind::kCrashed:
      return "crashed";
    case Verdict::Kind::kHung:
      break;
  }
  return "hung";
}

Verdict Judge(const ChildEnd& end) {
  Verdict verdict;
  verdict.seconds = end.time.count();
  verdict.faults = Split(end.report, kFaultEnd);
  const bool is_hung = end.how == ChildEnd::How::kTimedOut || end.result == kHungResult;
  if (end.how == ChildEnd::How::kReturned && !is_hung) {
    if (end.result != 0 || !verdict.faults.empty()) verdict.kind = Verdict::Kind::kFailed;
    return verdict;
  }
  verdict.activity = end.activity;
  verdict.output = end.output;
  if (is_hung) {
    verdict.kind = Verdict::Kind::kHung;
    verdict.faults.push_back("the module did not return from: " + end.activity);
  } else {
    verdict.kind = Verdict::Kind::kCrashed;
    verdict.faults.push_back("the module " + end.death + " during: " + end.activity);
  }
  return verdict;
}

}  // namespace brelmo::tavi::tools
