// A library to be loaded before a program's own (LD_PRELOAD), which shows what the program has really stored:
// - When it syncs a file, the content is copied to the folder SQM_SYNCED_COPIES, under the file's name. The folder then
//   has what a loss of power leaves at worst.
// - The program is killed when it writes to a file the SQM_KILL_AT_WRITE-th time.

#include <array>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

void copy(int file) {
  const char* folder = std::getenv("SQM_SYNCED_COPIES");
  std::array<char, 4096> path{};
  struct stat status {};
  if (!folder || ::fstat(file, &status) != 0 || !S_ISREG(status.st_mode)) return;
  if (::readlink(("/proc/self/fd/" + std::to_string(file)).c_str(), path.data(), path.size() - 1) < 0) ::abort();
  const std::string source(path.data());
  const std::string target = std::string(folder) + source.substr(source.rfind('/'));
  const int in = ::open(source.c_str(), O_RDONLY | O_CLOEXEC);  // the program's descriptor may be for writing alone
  const int out = ::open((target + ".new").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  std::array<char, 65536> buffer{};
  for (ssize_t count = 0; (count = ::read(in, buffer.data(), buffer.size())) > 0;) {
    if (::write(out, buffer.data(), static_cast<std::size_t>(count)) != count) ::abort();
  }
  ::close(in);
  ::close(out);
  if (::rename((target + ".new").c_str(), target.c_str()) != 0) ::abort();
}

}  // namespace

extern "C" int fsync(int file) {
  const auto result = static_cast<int>(::syscall(SYS_fsync, file));
  if (result == 0) copy(file);
  return result;
}

extern "C" int fdatasync(int file) {
  const auto result = static_cast<int>(::syscall(SYS_fdatasync, file));
  if (result == 0) copy(file);
  return result;
}

extern "C" ssize_t pwrite64(int file, const void* bytes, size_t size, off64_t offset) {
  static std::atomic<long> writes = 0;
  const char* last = std::getenv("SQM_KILL_AT_WRITE");
  if (last && ++writes == std::strtol(last, nullptr, 10)) ::kill(::getpid(), SIGKILL);
  return ::syscall(SYS_pwrite64, file, bytes, size, offset);
}
