// The application of an instance, and its answers to what the importer asks.
#ifndef LOOPBOX_FMU_UNIT_CONTROLLER_H
#define LOOPBOX_FMU_UNIT_CONTROLLER_H

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "fmu/unit/frames.h"
#include "fmu/unit/unit_file.h"
#include "runtime/runtime.h"

namespace fmu {

class CController {
 public:
  // Of the unit whose resources stand in the folder. Null with a message.
  static std::unique_ptr<CController> Load(const std::string& folder, std::string* error);
  ~CController();

  // The greeting of a new instance, into a frame that is begun here.
  void Greet(TFrameWriter* writer) const;
  // Does what a request asks for. False when it is none of those that an application
  // answers, or not right. *isAnswered tells that an answer was written.
  bool Do(const TFrame& request, TFrameWriter* writer, bool* isAnswered);
  // An answer that all is well, with the outputs' values.
  void Answer(TFrameWriter* writer);

 private:
  class CInputs;
  struct TVariable {
    std::string name;
    runtime::TItem item;
    ECausality causality = ECausality::kLocal;
    std::uint8_t type = kReal;
    std::uint8_t uses = 0;
  };

  CController();
  bool Read(std::string* error);
  // Reads again, when parameters were set that reading may use.
  bool Refresh();
  void Note(std::uint32_t status, const std::string& text);
  double ValueOf(std::uint32_t reference) const;
  void Set(std::uint32_t reference, double value);
  void Start();
  void Step(double time, double step);
  void PutAnswer(TFrameWriter* writer, const std::vector<std::uint32_t>& asked);

  TUnitFile unit;
  std::string text;    // of the application
  std::string folder;  // of the unit's resources
  std::unique_ptr<runtime::CPlugin> plugin;
  std::unique_ptr<CInputs> inputs;
  std::unique_ptr<runtime::CApplication> application;
  std::vector<TVariable> variables;
  std::vector<std::uint32_t> outputs;
  std::map<std::uint32_t, double> initial;  // set before the start, of variables that aren't inputs
  bool isStale = false;                     // the application was read before these were set
  bool isStarted = false;
  bool isFinished = false;
  double start = 0.0;  // seconds, of the importer's time
  std::optional<double> stop;
  double reached = 0.0;  // the same
  std::uint32_t status = kWell;
  std::vector<std::pair<std::uint32_t, std::string>> messages;
  std::uint64_t unsaid = 0;  // messages beyond those that an answer takes
};

}  // namespace fmu

#endif
