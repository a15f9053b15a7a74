#include "frame/testing/local_ground.h"

namespace kvwmi {

testing::FakeGround& testing::fake_local_ground() {
  static FakeGround ground;
  return ground;
}

Ground& local_ground() {
  return testing::fake_local_ground();
}

}  // namespace kvwmi
