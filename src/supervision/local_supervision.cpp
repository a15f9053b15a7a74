#include "frame/ground.h"
#include "kvwmi/supervision.h"

namespace kvwmi {

// Apart from the rest: only a program that uses this constructor needs the local machine's ground.
Supervision::Supervision() : Supervision(local_ground()) {}

}  // namespace kvwmi
