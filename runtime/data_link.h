// What acts on a run from outside, and what watches it: recorded data, the
// connections to a plant, a process that another program simulates, an operator's
// commands, a replay. A run has a list of them, in a fixed order whatever the order in
// which they were taken.
#ifndef LOOPBOX_RUNTIME_DATA_LINK_H
#define LOOPBOX_RUNTIME_DATA_LINK_H

#include <cstdint>
#include <string>
#include <vector>

namespace runtime {

class CApplication;
struct TItem;

// In the order in which links write in each period: a later one has the last
// word on what is not an element of its own.
enum class EDataLink : std::uint8_t { kProcess, kReplay, kInput, kConnections, kPanel };

// What a column of a link's holds: a text, or else a number, NaN for an empty cell.
struct TLinkCell {
  const char* text = nullptr;
  double number = 0.0;
};

// The application calls each operation in the thread that runs it. A period in
// which a link fails is finished, with every link, and is the last one. A message
// is whole: it names the link's file or device.
class CDataLink {
 public:
  virtual ~CDataLink() = default;

  virtual EDataLink Kind() const = 0;
  virtual const char* Name() const = 0;  // as messages name it: "the input"
  // Once, before the first period. The application outlives the link.
  virtual bool Open(CApplication& application, std::string* error) = 0;
  // Which elements it writes, known once it is open. Each has one writer.
  virtual const std::vector<TItem>& Written() const = 0;
  // Whether lines of the process that compute one of these are evaluated no more;
  // otherwise the process is another writer.
  virtual bool ReplacesProcess() const { return false; }
  // Columns of the trace behind the elements', known once it is open, and what they
  // hold after a period.
  virtual std::vector<std::string> Columns() const { return {}; }
  virtual TLinkCell Cell(std::size_t) const { return {}; }
  // In each period, before the process is integrated to `time`.
  virtual void BeforeProcess(double) {}
  // In each period, when the process has been integrated to `time` (seconds) and
  // before the script's callbacks: the place to write elements.
  virtual bool BeforePeriod(double time, std::string* error) = 0;
  // At the end of each period, when instruments and receivers have acted and
  // before the trace's row.
  virtual bool AfterPeriod(double time, std::string* error) = 0;
};

}  // namespace runtime

#endif
