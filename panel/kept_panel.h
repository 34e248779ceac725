// What was kept of a run in the panel's page, without a run.
//
//   auto shown = panel::CKeptPanel::OfArchive(folder, &error);
//   Print(shown->Link());
//   while (...) shown->Serve(0.5);
//
// A build without the panel has the same operations: nothing is opened, with a message
// that says so.
#ifndef LOOPBOX_PANEL_KEPT_PANEL_H
#define LOOPBOX_PANEL_KEPT_PANEL_H

#include <memory>
#include <string>
#include <vector>

#include "panel/server/source.h"

namespace panel {

// A trace, as a file has it.
struct TKeptTrace {
  std::string name;                  // of the run
  std::vector<std::string> columns;  // without that of the time
  std::vector<double> rows;          // a time and a number for each column, again and again; NaN: none
};

class CKeptPanel {
 public:
  virtual ~CKeptPanel() = default;
  // The trace has a row. Both null with a message.
  static std::unique_ptr<CKeptPanel> OfTrace(const TKeptTrace& trace, std::string* error);
  static std::unique_ptr<CKeptPanel> OfArchive(const std::string& folder, std::string* error);

  virtual std::string Link() const = 0;
  // For so many seconds, or until a signal comes.
  virtual void Serve(double seconds) = 0;
};

// What an archive has of the run that goes on, which began at `start` (seconds of the
// epoch) or later; null in a build without the panel.
std::unique_ptr<CHistory> FollowArchive(const std::string& folder, double start);

}  // namespace panel

#endif
