// A class on the testbed: what its definitions can hold, and one instrument of it
// in an application, driven by hand.
#ifndef LOOPBOX_VALIDATION_TESTBED_H
#define LOOPBOX_VALIDATION_TESTBED_H

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/gaugekit.h"
#include "runtime/instruments/driver.h"
#include "validation/probe.h"

namespace validation {

// An entry of a definition that stands for a data element of the testbed.
struct TWire {
  std::string keyword;
  std::string element;
  bool isBoolean;
  bool isOutput;
};

// How the class is connected, found out by trying: the entries of its reference, or
// without one the entries that regulators have in common.
class CClassTexts {
 public:
  explicit CClassTexts(CProbe& probe);

  const std::vector<TWire>& Wires() const { return wires; }
  const TWire* Wire(const std::string& keyword) const;
  const std::string& Wiring() const { return wiring; }  // the entries of all wires
  const std::string& Data() const { return data; }      // the data block that they need

 protected:
  bool Accepts(const std::string& definition) const;

  CProbe& probe;
  const TEntries& entries;
  std::vector<std::string> refused;
  std::vector<std::string> words;

 private:
  void TryWire(const TEntry& entry);

  std::vector<TWire> wires;
  std::string wiring;
  std::string data;
};

// And what else a definition of it can hold, which takes many trials.
class CClassChoices : public CClassTexts {
 public:
  explicit CClassChoices(CProbe& probe);

  // Definitions that differ in what the class lets one choose: flags, and in
  // each block its choices with one another. The first is the plain wiring.
  const std::vector<std::string>& Variants() const { return variants; }
  // The plain wiring with as many of the reference's examples as go together.
  std::string Fullest() const;
  // Examples of the reference that the class refused.
  const std::vector<std::string>& RefusedExamples() const { return refused; }
  const std::vector<std::string>& Words() const { return words; }  // what a definition is made of
  // The block (empty: the top level) and keyword of a parameter file; false:
  // the class has none.
  bool FileKeyword(std::string* block, std::string* keyword) const;
  // A definition with that file and, in its block, all switches on.
  std::string WithFile(const std::string& fileName) const;

 private:
  struct TChoice {  // the texts of which one entry may stand, the first empty
    std::vector<std::string> entries;
  };

  void TryEntry(const TEntry& entry, const std::string& block);
  void MakeVariants();

  std::vector<std::string> variants;
  std::vector<std::string> examples;                     // in their blocks
  std::vector<std::pair<std::string, TChoice>> choices;  // by block
  std::vector<std::string> ranges;                       // blocks with a range
  std::string fileBlock;
  std::string fileKeyword;
  std::map<std::string, std::string> switches;  // by block: all that are true or false, on
};

class CTestbed {
 public:
  // Reads an application of one instrument `subject`; what is wrong with it is
  // in Diagnostics, and then there is no instrument.
  CTestbed(CProbe& probe, const std::string& data, const std::string& definition, const std::string& script = {});
  CTestbed(CProbe& probe, const CClassTexts& texts, const std::string& definition);

  bool IsRead() const { return application != nullptr; }
  const std::vector<runtime::TDiagnostic>& Diagnostics() const { return diagnostics; }
  hx_vinst::CInstrument& Subject() const;
  runtime::CApplication& Application() const { return *application; }
  runtime::TInstrumentState& State() const;
  void Set(const std::string& element, double value) const;
  double Get(const std::string& element) const;
  // Sets the clock (milliseconds) and lets the instrument act.
  void Act(std::uint32_t milliseconds, std::uint32_t reason = hx_vinst::kActionTimer) const;
  // The meters inside the instrument, in order of registration.
  std::vector<const gaugekit::CMeter*> Meters() const;
  // Reads the definition again, up to that offset of the application's text.
  bool ReadAgain(std::uint32_t end) const;
  // Reads the definition of another instrument of the application instead.
  bool ReadOver(const std::string& instrument) const;
  std::vector<std::string> printed;  // by the script

 private:
  CProbe& probe;
  std::vector<runtime::TDiagnostic> diagnostics;
  std::unique_ptr<runtime::CApplication> application;
};

// The testbed's instrument after an ordinary reading; fails the case when the
// definition is refused.
std::unique_ptr<CTestbed> MakeTestbed(CProbe& probe, const CClassTexts& texts, const std::string& definition);

// Fails when an output is not finite, leaves the range of its pane, or both of
// two steps are on.
void CheckOutputs(const CProbe& probe, const CClassTexts& texts, const CTestbed& testbed, const std::string& when);
// How the instrument looks: its place, its panes with their buffers, its captions.
std::vector<double> Look(const CTestbed& testbed);
// What the outputs hold and the panes show.
std::vector<double> Shown(const CClassTexts& texts, const CTestbed& testbed);
// Some periods with ordinary values from `start` (seconds) on.
void RunOrdinary(CProbe& probe, const CClassTexts& texts, const CTestbed& testbed, int periods, std::uint32_t start = 1,
                 bool checked = true);

}  // namespace validation

#endif
