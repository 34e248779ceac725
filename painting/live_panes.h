// Pictures of single instruments in another process than the one in which they act.
// What they show goes there as numbers:
//
//   CLivePanes panes(application);           // before the processes part, in both
//   panes.Keep(numbers);                     // where the application runs
//   panes.Show(numbers);                     // in the other, on its copy of the application
//   panes.InstrumentPicture(0, painting::EFormat::kSvg, {540, 140}, &svg, &error);
//
// A history longer than kMostSamples is whole in the other process as long as that
// is shown the numbers once in so many periods; else it begins anew with as many.
// A build without pictures has nothing to keep.
#ifndef LOOPBOX_PAINTING_LIVE_PANES_H
#define LOOPBOX_PAINTING_LIVE_PANES_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "painting/painting.h"
#include "runtime/runtime.h"

namespace painting {

// In pixels.
struct TPictureSize {
  std::int32_t width = 0;
  std::int32_t height = 0;
};

class CLivePanes {
 public:
  static constexpr std::size_t kMostSamples = 1024;  // of one history

  // Of an application that was read. It outlives the panes.
  explicit CLivePanes(runtime::CApplication& application);
  ~CLivePanes();
  CLivePanes(const CLivePanes&) = delete;
  CLivePanes& operator=(const CLivePanes&) = delete;

  // How many numbers the state of all instruments takes.
  std::size_t Size() const { return size; }
  // The state as it is now. Allocates nothing.
  void Keep(std::span<double> numbers) const;
  // Takes such a state on.
  void Show(std::span<const double> numbers);

  // The size that the instrument has in the window; none where it is not seen.
  std::optional<TPictureSize> SizeOf(std::size_t instrument) const;
  // The instrument as its plug-in lays it out, as large as there is room in that size.
  // *bytes receives the whole file. False with a message.
  bool InstrumentPicture(std::size_t instrument, EFormat format, TPictureSize room, std::string* bytes,
                         std::string* error) const;

 private:
  struct TPlace;  // of a view's state among the numbers

  // A build without pictures has no use for most of these.
  [[maybe_unused]] runtime::CApplication& application;
  std::vector<TPlace> places;
  std::size_t size = 0;
  [[maybe_unused]] double time = 0.0;          // that is shown, in seconds
  [[maybe_unused]] std::uint64_t periods = 0;  // done by then
};

}  // namespace painting

#endif
