// What the cases of a report sound like, as far as a page can hold it.
//
// The member `listen` of the data, where audio was given:
//   audio, rate_hz, seconds    what is played; the rate is the DSP's
//   scheme          of the virtual DSP
//   gain_db         of all samples, so that none clips
//   samples         bypassed first, then each pair of responses once: cases (none for bypassed);
//                   flac: the sound in stereo, base64
//   left_out        cases with a response that the DSP cannot play
#pragma once

#include <cstddef>
#include <string>

#include <nlohmann/json.hpp>

namespace brelmo::tavi::tools {

// Of `data`, see report_data.h. The samples together are shorter, where need be, than `most_bytes`.
// Throws InputError for audio that cannot be used, and where less than a second of each fits.
nlohmann::ordered_json MakeListen(const nlohmann::ordered_json& data, const std::string& audio,
                                  size_t most_bytes);

}  // namespace brelmo::tavi::tools
