#include "tovik/descriptor.h"

#include "values/system.h"

namespace tovik {

void Descriptor::close() {
  if (number_ >= 0) sys::close(std::exchange(number_, -1));
}

}  // namespace tovik
