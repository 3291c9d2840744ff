#include "platform/support/kept_errors.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace NKVRHVX20 {

bool KeptErrors::open(int above) {
  const platform::Descriptor made(memfd_create("errors", MFD_CLOEXEC | MFD_ALLOW_SEALING));
  if (!made || ftruncate(made.get(), kRoom) != 0 ||
      fcntl(made.get(), F_ADD_SEALS, F_SEAL_GROW | F_SEAL_SHRINK | F_SEAL_SEAL) != 0)
    return false;
  file_ = platform::Descriptor(fcntl(made.get(), F_DUPFD_CLOEXEC, above + 1));
  return bool(file_);
}

std::string KeptErrors::text() const {
  if (!file_) return {};
  std::string text(kRoom, '\0');
  const ssize_t count = pread(file_.get(), text.data(), text.size(), 0);
  text.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
  return text.substr(0, text.find('\0'));
}

}  // namespace NKVRHVX20
