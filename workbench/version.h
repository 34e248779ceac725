// The program's version, as the build names it: "1.4".
#ifndef LOOPBOX_WORKBENCH_VERSION_H
#define LOOPBOX_WORKBENCH_VERSION_H

namespace workbench {

extern const char kProgramVersion[];

}  // namespace workbench

#endif
