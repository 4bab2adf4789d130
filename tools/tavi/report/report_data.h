// The data of a report: what a configuration comes to, for the report's page and for other tools.
// docs/diagnostics.md describes it to users.
//
//   generator       "tavi report"
//   configuration   name; text
//   module          context: whether init hands out one, without which the module does nothing;
//                   valid: whether every case was accepted; cases_in_force;
//                   status_message: type and bytes of the message that opens a call
//   counts          of findings: error, warning, note
//   rate_hz, frequency_hz     of each bin, for all responses; bin 0 first
//   cases           of the text, counted from 0: number, text, is_in_force, conditions (name to
//                   value), keys; outputs, left first: channel, file, state, response, message
//                   (type, bins and bytes of it; null when it is not sent); bytes of the delivery
//   responses       each once: real, imaginary, magnitude_db, phase_degrees (unwrapped), a value a
//                   bin; null where there is none
//   postures        in runs of hinge angles, both ends included, null before the first reading:
//                   rotation, from, to; taken, alternate (cases or null), matching (all cases)
//   findings        of CheckConfig, in its order: name, severity, case, file, line, column,
//                   message, consequence; excerpt: text and a marker line for under it, or null
//
// `state` of an output is "file"; "flat" for want of a usable file, 257 bins of 1 + 0i being sent
// instead; "empty", the channel not being sent; "not-finite", NaNs being sent.
#pragma once

#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "check/check_config.h"

namespace brelmo::tavi::tools {

// How the data begins, and nothing else.
constexpr std::string_view kDataMark = "{\"generator\":\"tavi report\",";

struct ReportOptions {
  CheckOptions check;
};

// Reads `text` and the data files it names, through the data folder in force. Logs nothing. The
// same input gives the same data.
nlohmann::ordered_json MakeReportData(const std::string& text, const ReportOptions& options);

// On one line; what is no UTF-8 in it is replaced.
std::string DumpReportData(const nlohmann::ordered_json& data);

}  // namespace brelmo::tavi::tools
