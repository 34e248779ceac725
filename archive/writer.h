// An archive, being written: a run's rows go into the files of their days.
#ifndef LOOPBOX_ARCHIVE_WRITER_H
#define LOOPBOX_ARCHIVE_WRITER_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "archive/archive.h"
#include "archive/day_writer.h"

namespace archive {

// What goes wrong is thrown as TFailure. A writer that threw is of no use any more;
// another one, given again the rows since the last commit, goes on without a gap, and
// takes none twice.
class CWriter {
 public:
  // `days` files stay; 0: all.
  CWriter(std::string theFolder, TRun theRun, std::vector<TChannel> theChannels, std::uint64_t theDays);

  // A period's row: values and qualities of all channels. `lost` rows of the run were
  // lost before it.
  void Take(std::uint64_t period, std::uint64_t lost, const double* values, const std::uint8_t* qualities);
  void Commit();
  // Commits, and leaves whole files. Nothing is taken after it.
  void End();

 private:
  void OpenDay(std::int64_t number);

  const std::string folder;
  const TRun run;
  const std::vector<TChannel> channels;
  const std::uint64_t days;
  std::unique_ptr<CDayWriter> day;
  std::int64_t dayNumber = 0;
  std::uint64_t lostBefore = 0;
};

}  // namespace archive

#endif
