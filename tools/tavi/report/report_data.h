// The data of a report: what a configuration comes to, for the report's page and for other tools.
// docs/diagnostics.md describes it to users.
//
//   generator       "tavi report"
//   version         of tavi
//   configuration   name; text; sha256
//   data_folder     in which the module was made to look
//   data_files      that the cases in force name, in their order: file, sha256 (null when the
//   module
//                   cannot read it)
//   module          context: whether init hands out one, without which the module does nothing;
//                   valid: whether every case was accepted; cases_in_force;
//                   status_message: type and bytes of the message that opens a call
//   counts          of findings: error, warning, note
//   rate_hz, frequency_hz     of each bin, for all responses; bin 0 first
//   cases           of the text, counted from 0: number, text, is_in_force, conditions (name to
//                   value), keys; outputs, left first: channel, file, state, response, message
//                   (type, bins and bytes of it; null when it is not sent); bytes of the delivery;
//                   pair: how the right channel lies to the left one, null when one of them is no
//                   filter: level_db, delay_ms, is_inverted, similarity
//   responses       each once: real, imaginary, magnitude_db, phase_degrees (unwrapped), a value a
//                   bin; null where there is none; time: the filter that 257 finite bins stand for,
//                   null for other ones: group_delay_ms (a value a bin), impulse_db (of 512
//                   samples), delay_ms (centre of energy), peak (sample), arc_30db and arc_60db
//                   (start and length in samples, of all but so much of the energy), late_energy_db
//                   and early_energy_db (shares), worst_gain_db, speech_level_db
//   postures        in runs of hinge angles, both ends included, null before the first reading:
//                   rotation, from, to; taken, alternate (cases or null), matching (all cases)
//   against         where one was given, see against.h
//   findings        of CheckConfig, in its order: name, severity, case, file, line, column,
//                   message, consequence; excerpt: text and a marker line for under it, or null
//
// `state` of an output is "file"; "flat" for want of a usable file, 257 bins of 1 + 0i being sent
// instead; "empty", the channel not being sent; "not-finite", NaNs being sent.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "check/check_config.h"
#include "report/against.h"

namespace brelmo::tavi::tools {

// How the data begins, and nothing else.
constexpr std::string_view kDataMark = "{\"generator\":\"tavi report\",";

struct ReportOptions {
  CheckOptions check;
  std::string config_sha256;  // of the bytes that the text comes from; empty for those of the text
  std::string listen;         // audio that the cases are heard with, see listen.h; may be empty
  std::optional<Against> against;  // of the same text
};

// Reads `text` and the data files it names, through the data folder in force. Logs nothing. The
// same input gives the same data.
nlohmann::ordered_json MakeReportData(const std::string& text, const ReportOptions& options);

// On one line; what is no UTF-8 in it is replaced.
std::string DumpReportData(const nlohmann::ordered_json& data);

}  // namespace brelmo::tavi::tools
