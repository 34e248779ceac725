// The pictures of an application's window that a run writes.
#ifndef LOOPBOX_WORKBENCH_PICTURES_PANE_PICTURES_H
#define LOOPBOX_WORKBENCH_PICTURES_PANE_PICTURES_H

#include <cstddef>
#include <string>
#include <vector>

#include "runtime/runtime.h"

namespace workbench {

class CPanePictures {
 public:
  // `fileName` is the picture at the end of the run; empty: none. At each of
  // `times`, in seconds, a further one is written, named NAME-TIME.ENDING.
  CPanePictures(std::string fileName, std::vector<double> times);

  // Before the application is read: false with a message when the pictures
  // can't be made.
  bool Prepare(std::string* error) const;
  // Of all pictures; empty names where there are none.
  std::vector<std::string> Names() const;
  // When it is read: false with a message when a time is after its end.
  bool CheckTimes(double duration, std::string* error) const;

  // After each period, and before the first: writes what is due.
  bool WriteDue(const runtime::CApplication& application, std::string* error);
  bool WriteLast(const runtime::CApplication& application, std::string* error) const;

 private:
  bool Write(const runtime::CApplication& application, const std::string& name, std::string* error) const;
  std::string NameAt(double seconds) const;

  std::string fileName;
  std::vector<double> times;  // ascending
  std::size_t next = 0;       // of the times
};

}  // namespace workbench

#endif
