// What the program says by its exit status.
#ifndef LOOPBOX_WORKBENCH_EXIT_STATUS_H
#define LOOPBOX_WORKBENCH_EXIT_STATUS_H

namespace workbench {

enum EExitStatus : int {
  kDone = 0,
  kApplicationWrong = 1,  // or could not be run
  kCommandLineWrong = 2,
  kRunTimeErrors = 3,  // were reported
  kInterrupted = 130,
};

}  // namespace workbench

#endif
