#include "workbench/version.h"

namespace workbench {

const char kProgramVersion[] = LOOPBOX_VERSION;

}  // namespace workbench
