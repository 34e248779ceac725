#include "plant/mqtt/secret.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace plant {

bool ReadSecret(const std::string& path, TSecret* secret, std::string* error) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file < 0) {
    *error = "can't open the secret '" + path + "': " + std::strerror(errno);
    return false;
  }
  struct stat about {};
  char text[1024];
  ssize_t size = -1;
  if (fstat(file, &about) == 0 && S_ISREG(about.st_mode)) size = read(file, text, sizeof(text));
  close(file);
  if (size < 0) {
    *error = "can't read the secret '" + path + "'";
    return false;
  }
  if ((about.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
    *error = "the secret '" + path + "' can be used by others than its owner: chmod 600 '" + path + "'";
    return false;
  }
  const std::string line(text, std::find(text, text + size, '\n'));
  const std::size_t colon = line.find(':');
  if (colon == std::string::npos || colon == 0) {
    *error = "the secret '" + path + "' doesn't begin with user:password";
    return false;
  }
  *secret = {line.substr(0, colon), line.substr(colon + 1)};
  return true;
}

}  // namespace plant
