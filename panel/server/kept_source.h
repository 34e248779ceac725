// What a page shows of a run that is over: a trace, or an archive of it.
#ifndef LOOPBOX_PANEL_SERVER_KEPT_SOURCE_H
#define LOOPBOX_PANEL_SERVER_KEPT_SOURCE_H

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "live/shared_block.h"
#include "panel/model.h"
#include "panel/server/samples.h"
#include "panel/server/source.h"

namespace panel {

// What can be told by the columns of a trace: its items, and the instruments whose
// numbers stand among them.
struct TKeptColumns {
  explicit TKeptColumns(const std::vector<std::string>& names);

  TModel model;
  // Of each column, as a history is asked for it: INSTRUMENT.wish for
  // INSTRUMENT.wish_value. Empty for one that a page doesn't show.
  std::vector<std::string> items;
};

// Whether the item is one of the three numbers of an instrument whose value is known.
bool IsOfInstrument(const std::string& item, const std::function<bool(const std::string& item)>& isKnown);

// The rows of a trace, in memory.
class CRows final : public CHistory {
 public:
  // `rows` are a time and a number for each item, again and again. Null with a message
  // where there is no memory for them.
  static std::unique_ptr<CRows> Make(const std::vector<std::string>& items, const std::vector<double>& rows,
                                     std::string* error);

  // Each of the three of an instrument; those that it doesn't have have no points.
  bool Knows(const std::string& item) const override;
  bool Read(const std::vector<std::string>& items, double from, double to, std::size_t points, TTrend* trend,
            std::string* error) override;

 private:
  CRows() = default;

  std::map<std::string, std::size_t> columns;
  std::unique_ptr<live::CSharedBlock> block;
  std::optional<CSamples> samples;
};

class CKeptSource final : public CSource {
 public:
  CKeptSource(TModel theModel, std::unique_ptr<CHistory> theHistory);

  const TNames& Names() const override { return names; }
  std::string Model(bool) override { return model.Json(false); }
  CHistory& History() override { return *history; }
  bool Picture(std::size_t instrument, EPicture format, int width, int height, std::string* bytes,
               std::string* error) override;
  std::string Journal(std::optional<std::uint64_t> before, std::size_t count) override;

 private:
  TModel model;
  std::unique_ptr<CHistory> history;
  TNames names;
};

}  // namespace panel

#endif
