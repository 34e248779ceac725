// A plant that an application's `connections` name: driven by its devices, or
// simulated, with the same qualities and the same rules for what is written.
//
//   plant::CConnectionsReader reader;                 // in TReadOptions::blocks
//   plant::CPlant plant(reader.Connections(), options);
//   application->AddLink(plant, &error);
//   ... periods ...
//   plant.Finish(&error);
#ifndef LOOPBOX_PLANT_PLANT_H
#define LOOPBOX_PLANT_PLANT_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "plant/connections.h"
#include "plant/connections_reader.h"
#include "plant/guard.h"
#include "plant/input_watch.h"
#include "plant/links.h"
#include "runtime/runtime.h"

namespace plant {

// Takes an input or all of a connection away in a simulation, at from <= t < to.
struct TLoss {
  std::string name;
  double from = 0.0;  // seconds
  double to = 0.0;
};

// Behind an element's name, columns of the trace: its quality, what was written of it,
// and in a record its age and what recorded data gave it.
inline constexpr char kQualityColumn[] = ".quality";
inline constexpr char kWrittenColumn[] = ".written";
inline constexpr char kAgeColumn[] = ".age";
inline constexpr char kInputColumn[] = ".input";

// An earlier run that a plant follows, in the place of its links.
class CPast {
 public:
  struct TLatched {
    EQuality quality = EQuality::kLost;
    double value = 0.0;
    double age = 0.0;  // seconds
  };

  virtual ~CPast() = default;
  // What an input was in the period that comes; none where the earlier run had none.
  virtual std::optional<TLatched> Latched(const std::string& input) const = 0;
  // Whether outputs of a connection were written by then, and what stood in the plant
  // before.
  virtual bool HasBegun(const std::string& connection, std::uint64_t period) const = 0;
  virtual std::optional<double> Found(const std::string& output) const = 0;
};

struct TPlantOptions {
  // Names of the connections that are made; all others are simulated.
  std::vector<std::string> connected;
  bool isDry = false;  // nothing is written to them
  std::vector<TLoss> losses;
  // What went wrong, and what is worth knowing.
  std::function<void(const runtime::TRunTimeMessage&)> report;
  std::function<void(const runtime::TRunTimeMessage&)> note;
  bool (*interruptionAsked)() = nullptr;  // null: never
  const CPast* past = nullptr;            // takes the place of links; it outlives the plant
  // For a record: the trace has the ages that expressions ask for, and the period from
  // which on outputs of a connection are written is told, 0 before the first, with what
  // was found.
  bool isRecorded = false;
  using TFound = std::vector<std::pair<std::string, std::optional<double>>>;
  std::function<void(const std::string& connection, std::uint64_t period, const TFound& found)> begun;
};

// The words of `--plant`: names between commas, `dry` among them; without a name all.
// False with a message where a name is no connection's.
bool ReadPlantWords(const TConnections& connections, const std::string& words, TPlantOptions* options,
                    std::string* error);
// NAME@FROM-TO, of an input or a connection that is simulated.
bool ReadLoss(const TConnections& connections, const std::string& text, TPlantOptions* options, std::string* error);

// Whether a column of a trace tells an input's quality or what was written of an
// output: no data element and no instrument has it.
bool IsPlantColumn(std::string_view name);

// The connections in words, a line each.
std::vector<std::string> Listed(const TConnections& connections, double period);
// What the connections hardly mean, and what the regulators make of them.
struct TPlantDoubt {
  std::uint32_t offset;
  std::string text;
  bool isWarning;  // else it is worth knowing
};
std::vector<TPlantDoubt> Doubts(const runtime::CApplication& application, const TConnections& connections);

class CPlant final : public runtime::CDataLink {
 public:
  // The connections outlive it.
  CPlant(const TConnections& theConnections, TPlantOptions theOptions);
  ~CPlant() override;

  runtime::EDataLink Kind() const override { return runtime::EDataLink::kConnections; }
  const char* Name() const override { return "the plant"; }
  // Makes the links, and waits for their first polls as long as those may take.
  bool Open(runtime::CApplication& application, std::string* error) override;
  const std::vector<runtime::TItem>& Written() const override { return written; }
  bool ReplacesProcess() const override { return true; }
  std::vector<std::string> Columns() const override;
  runtime::TLinkCell Cell(std::size_t column) const override;
  void BeforeProcess(double time) override;
  bool BeforePeriod(double time, std::string* error) override;
  bool AfterPeriod(double time, std::string* error) override;

  // At the end of the run: every output that has one is brought to its safe value.
  // False with a message where that failed.
  bool Finish(std::string* error);

  // --- What a panel shows, and does; between two periods ---

  // Connections, and points in the order of the connections.
  const TConnections& Connections() const { return connections; }
  struct TInputNow {
    const TInput* input;
    std::size_t connection;
    EQuality quality;
    double age;  // seconds
  };
  std::size_t InputCount() const { return inputs.size(); }
  TInputNow Input(std::size_t input) const;
  struct TOutputNow {
    const TOutput* output;
    EGuard why;
    double written;                     // NaN: nothing yet
    std::optional<std::size_t> heldBy;  // the first input that it needs and that isn't good
    bool isDry;                         // it isn't written to its device
  };
  std::size_t OutputCount() const { return outputs.size(); }
  TOutputNow Output(std::size_t output) const;
  // All outputs that have safe values get them at the end of this period, and keep them
  // until they are released: what computes them tracks them, and goes on from there.
  void Stop();
  void Release();
  // Those that have latched come back once what they need is good.
  void Unlatch();

  // Of each connection that is made.
  struct TLinkSummary {
    std::string name;
    TLinkCounts counts;
  };
  std::vector<TLinkSummary> Summary() const;

 private:
  struct TWatched {
    const TInput* input;
    const TConnection* connection;
    std::optional<std::size_t> reading;  // number of it among the links'; none: it is simulated
    CInputWatch watch;
    std::vector<TLoss> losses;
    double own = 0.0;         // that the process computed
    bool isReplaced = false;  // in the element, by the last good one
    bool isReported = false;  // as bad
    double age = 0.0;         // as expressions know it
  };
  struct TSteered {
    TSteered(const TOutput& theOutput, const TConnection& theConnection)
        : output(&theOutput), connection(&theConnection), guard(theOutput) {}

    const TOutput* output;
    const TConnection* connection;
    std::optional<std::size_t> number;  // among the links' outputs; none: it is simulated
    std::optional<std::size_t> link;    // number of it
    COutputGuard guard;
    std::string column;
    std::vector<std::size_t> needs;  // inputs
    std::optional<runtime::CInstrumentHandle> instrument;
    std::optional<std::size_t> input;  // the same element, which only passes by
    bool hasSteps = false;             // of a step class
    bool meetsProcess = false;         // the process sees what is written in the place of the element
    bool isLeft = false;               // the element holds what is written, not what was wanted
    double wanted = 0.0;
    EGuard why = EGuard::kOwn;
    double written = 0.0;        // NaN: nothing
    std::optional<double> told;  // dry: what was told to be written last
    double toldAt = 0.0;
  };

  void Gather(const runtime::CApplication& application);
  void FindInstruments(const runtime::CApplication& application);
  bool AwaitLinks();
  void BeginWriting(std::uint64_t period);
  // In the period that comes, of that number.
  bool IsReady(std::size_t link, std::uint64_t period) const;
  bool IsWritten(const TSteered& one) const { return !one.link || isWriting[*one.link]; }
  void Follow(TWatched& one);
  void Latch(double time);
  void JudgeSimulated(TWatched& one, double time);
  void Tell(TWatched& one, double time);
  void Report(double time, const TConnection& connection, const std::string& text) const;
  void Note(double time, const TConnection& connection, const std::string& text) const;
  void TakeMessages(double time);
  void Steer(TSteered& one, double time);
  void TellDry(TSteered& one, double time);

  const TConnections& connections;
  TPlantOptions options;
  runtime::CApplication* application = nullptr;
  TConnections made;  // those that links are made for
  std::unique_ptr<CLinks> links;
  std::vector<TWatched> inputs;
  std::vector<std::size_t> aged;  // those whose ages the trace has
  std::vector<TSteered> outputs;
  std::vector<runtime::TItem> written;
  std::vector<TWanted> values;  // for the links
  std::vector<bool> isWriting;  // by link: it had its first whole poll
};

}  // namespace plant

#endif
