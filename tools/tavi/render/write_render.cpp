#include "render/write_render.h"

#include <cstdio>

#include "console/terminal.h"
#include "console/wording.h"
#include "render/loudspeakers.h"
#include "render/render_text.h"

namespace brelmo::tavi::tools {

namespace {

// In the file there is nothing but samples: nothing that exists is taken for one of tavi's.
OutputRules RulesOf(const RenderRequest& request) {
  OutputRules rules;
  rules.inputs = request.inputs;
  rules.inputs.push_back({request.audio, "the input"});
  rules.inputs.push_back({request.play.scenario, "the scenario"});
  for (const std::string& path : request.loudspeakers)
    rules.inputs.push_back({path, "a measurement"});
  rules.is_forced = request.is_forced;
  return rules;
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
  OutputFile output(request.output, RulesOf(request));
  const std::vector<Measurement> loudspeakers = ReadLoudspeakers(request.loudspeakers);
  const DspTimeline timeline = PlayTimeline(request.play);
  DspTimeline reference;
  const bool has_reference = request.reference != RenderRequest::Reference::kNone;
  if (request.reference == RenderRequest::Reference::kOld)
    reference = PlayTimeline(request.old_play);

  const RenderSources sources = {request.audio, timeline, has_reference ? &reference : nullptr,
                                 loudspeakers};
  const RenderResult result = Render(sources, request.render, output.stream());
  output.Commit();

  bool is_well = SayFaults(timeline.faults, "");
  is_well = SayFaults(reference.faults, "with " + Printable(request.old_name) + ": ") && is_well;
  is_well = SayFaults(result.faults, "") && is_well;
  Print(IsColourWanted(), colour::kBold, Printable(request.output));
  Print(false, "", RenderText(request, result, timeline.seconds));
  return is_well && result.clipping->count() == 0;
}

}  // namespace brelmo::tavi::tools
