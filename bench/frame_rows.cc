// The frames of a panel: what a loop does for one, a number.
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "bench/applications.h"
#include "bench/rows.h"
#include "live/shared_block.h"
#include "panel/alarms.h"
#include "panel/frames.h"

namespace bench {

namespace {

struct TFramed {
  explicit TFramed(const TShape& shape)
      : running(Text(shape)), alarms(none, nullptr), frames(*running, nullptr, alarms, FactsOf(*running)) {
    std::string error;
    block = live::CSharedBlock::Make(frames.Bytes(), &error);
    if (block == nullptr) std::abort();
    frames.Place(*block);
    running.Step(3);
  }

  // As a reference has them: a law and its parameters.
  static std::vector<panel::TFacts> FactsOf(const runtime::CApplication& application) {
    std::vector<panel::TFacts> facts;
    for (std::size_t i = 0; i < application.InstrumentCount(); ++i) {
      const auto read = [instrument = application.Instrument(i), law = runtime::CProcedureName("GetRegulatorType__R"),
                         parameters = runtime::CProcedureName("GetParameters__RRR"),
                         asked = std::vector<double>()](std::vector<double>* values) mutable {
        asked.assign(1, 0.0);
        instrument.Call(law, &asked);
        *values = asked;
        asked.assign(3, 0.0);
        instrument.Call(parameters, &asked);
        values->insert(values->end(), asked.begin(), asked.end());
      };
      facts.emplace_back();
      for (const char* name : {"law", "r0", "tI", "tD"}) facts.back().settings.push_back({name, "", false, {}});
      facts.back().read = read;
    }
    return facts;
  }

  CBenchRun running;
  std::vector<panel::TAlarm> none;
  panel::CAlarms alarms;
  std::unique_ptr<live::CSharedBlock> block;
  panel::CFrames frames;
};

}  // namespace

void AddFrameRows() {
  for (const int histories : {0, 2}) {
    TShape shape;
    shape.count = 200;
    shape.historyPanes = histories;
    AddRow({"frame/200 loops" + std::string(histories == 0 ? "" : " with histories") + ", a number",
            EMeasure::kRatio,
            1.0,
            [shape] {
              auto framed = std::make_shared<TFramed>(shape);
              return TBatch{[framed] { framed->frames.Write(panel::EPhase::kRunning, 0.0); },
                            static_cast<double>(framed->frames.Layout().size)};
            },
            {},
            {}});
  }
}

}  // namespace bench
