#include "render/write_render.h"

#include <cstdio>
#include <utility>

#include "check/data_file_path.h"
#include "check/tuning_files.h"
#include "console/input.h"
#include "console/terminal.h"
#include "console/wording.h"
#include "render/loudspeakers.h"
#include "render/render_text.h"

namespace brelmo::tavi::tools {

namespace {

// In the file there is nothing but samples: nothing that exists is taken for one of tavi's.
OutputRules RulesOf(const RenderRequest& request, const TuningFiles& old) {
  OutputRules rules;
  rules.inputs = request.inputs;
  rules.inputs.push_back({request.audio, "the input"});
  rules.inputs.push_back({request.play.scenario, "the scenario"});
  for (const std::string& path : request.loudspeakers)
    rules.inputs.push_back({path, "a measurement"});
  if (!old.path.empty()) rules.inputs.push_back({old.path, "the old configuration"});
  for (InputFile& input : DataFileInputs(old.text, old.data_root, "the old configuration")) {
    rules.inputs.push_back(std::move(input));
  }
  rules.is_forced = request.is_forced;
  return rules;
}

// Without a path when there is none.
TuningFiles ReadOld(const RenderRequest& request) {
  if (request.old_path.empty()) return {};
  TuningFiles old = FindTuning(request.old_path, request.old_data_root);
  std::string content = ReadFile(old.path);
  old = WithText(std::move(old), std::move(content));
  if (DataFilesOf(old.text, old.data_root).empty()) {
    throw InputError(old.path +
                     ": the module reads no case in it that names a data file, so there is nothing "
                     "to hear against the other; name an older configuration, or a folder of tavi "
                     "build");
  }
  return old;
}

bool SayFaults(const std::vector<std::string>& faults, const std::string& of) {
  for (const std::string& fault : faults) {
    Print(IsColourWanted(), colour::kRed, "failed");
    Print(false, "", ": " + of + Printable(fault) + "\n");
  }
  return faults.empty();
}

}  // namespace

bool WriteRender(const RenderRequest& request) {
  const TuningFiles old = ReadOld(request);
  OutputFile output(request.output, RulesOf(request, old));
  const std::vector<Measurement> loudspeakers = ReadLoudspeakers(request.loudspeakers);
  const DspTimeline timeline = PlayTimeline(request.play);
  DspTimeline reference;
  const bool has_reference = request.is_against_bypass || !old.path.empty();
  if (!old.path.empty()) {
    PlaySetup setup = request.play;
    setup.config = old.text;
    setup.data_root = old.data_root;
    reference = PlayTimeline(std::move(setup));
  }

  const RenderSources sources = {request.audio, timeline, has_reference ? &reference : nullptr,
                                 loudspeakers};
  const RenderResult result = Render(sources, request.render, output.stream());
  output.Commit();

  bool is_well = SayFaults(timeline.faults, "");
  is_well = SayFaults(reference.faults, "with " + Printable(request.old_path) + ": ") && is_well;
  is_well = SayFaults(result.faults, "") && is_well;
  Print(IsColourWanted(), colour::kBold, Printable(request.output));
  Print(false, "", RenderText(request, result, timeline.seconds));
  return is_well && result.clipping->count() == 0;
}

}  // namespace brelmo::tavi::tools
