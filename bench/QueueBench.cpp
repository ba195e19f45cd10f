// Queueing a request, which is in the archive when the call returns, compared with replacing a file by the same bytes:
// on a disk with the same syncs, in memory with `write` and `rename` alone.

#include <cstddef>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <unistd.h>
#include <utility>

#include "sqm/common/QFSerializer.h"
#include "sqm/platform/files/ArchiveFiles.h"
#include "sqm/queue/QFRecordUploader.h"
#include "sqm/testing/FakeHost.h"

#include "bench/Comparison.h"
#include "tools/support/TemporaryFolder.h"

namespace {

constexpr std::size_t kDataSize = 1024;
constexpr std::string_view kUrl = "https://collect.example/queue";

/// Writes the archive to a file that is named later: the process's one uploader writes to several in turn.
class ArchiveElsewhere : public sqm::QFSerializer {
 public:
  bool serializeObject(const sqm::UploadRequests& object, const std::string& /*toFile*/) override {
    return files_.serializeObject(object, path_);
  }
  std::optional<sqm::UploadRequests> objectFromFile(const std::string& /*path*/) override {
    return sqm::UploadRequests{};
  }

  void writeTo(const std::string& path) { path_ = path; }

 private:
  std::string path_;
  sqm::testing::MemoryLogs logs_;
  sqm::platform::ArchiveFiles files_{logs_};
};

enum class Medium { disk, memory };

/// Replaces the file with the fewest calls that leave either the old or the new one, on a disk also after a loss of
/// power.
void replaceBare(const std::string& folder, const std::string& path, std::string_view bytes, Medium medium) {
  const std::string temporary = path + ".new";
  const int file = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  bench::require(file >= 0, "the bare file cannot be opened");
  for (std::string_view rest = bytes; !rest.empty();) {
    const ssize_t written = ::write(file, rest.data(), rest.size());
    bench::require(written > 0, "the bare file cannot be written");
    rest.remove_prefix(static_cast<std::size_t>(written));
  }
  bench::require(medium == Medium::memory || ::fsync(file) == 0, "the bare file cannot be synced");
  bench::require(::close(file) == 0 && ::rename(temporary.c_str(), path.c_str()) == 0,
                 "the bare file cannot be replaced");
  if (medium == Medium::memory) return;
  const int opened = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  bench::require(opened >= 0 && ::fsync(opened) == 0 && ::close(opened) == 0, "the folder cannot be synced");
}

void compareQueueing(sqm::QFRecordUploader& uploader, ArchiveElsewhere& archive, std::size_t length,
                     const tools::TemporaryFolder& folder, Medium medium, double aim) {
  const std::string path = folder / ("archive of " + std::to_string(length));
  const std::string barePath = folder / ("bare archive of " + std::to_string(length));
  const sqm::UploadRequests queue(length, {std::string(kUrl), std::string(kDataSize, 'x')});
  const std::string where = medium == Medium::disk ? "on a disk" : "in memory";
  const auto counts = medium == Medium::disk ? bench::Effort::Counts::median : bench::Effort::Counts::best;
  bench::compare(
      "queueing " + where + "/behind " + std::to_string(length), {.aim = aim, .counts = counts},
      [&uploader, &archive, path, queue](benchmark::State& state) {
        archive.writeTo(path);
        const std::string data(kDataSize, 'x');
        for (auto _ : state) {
          state.PauseTiming();
          sqm::UploadRequests grown;
          grown.reserve(queue.size() + 1);  // as a queue has that grew by one request after the other
          grown = queue;
          uploader.setRecordQueue(std::move(grown));
          state.ResumeTiming();
          bench::require(uploader.quequeRecord(data, kUrl), "a request cannot be queued");
        }
      },
      [&uploader, &archive, &folder, medium, path, barePath, queue](benchmark::State& state) {
        archive.writeTo(path);
        uploader.setRecordQueue(queue);
        uploader.quequeRecord(std::string(kDataSize, 'x'), kUrl);
        const std::string bytes(std::filesystem::file_size(path), 'x');
        for (auto _ : state) {
          state.PauseTiming();
          state.ResumeTiming();
          replaceBare(folder.path(), barePath, bytes, medium);
        }
      });
}

}  // namespace

int main(int argc, char** argv) {
  ArchiveElsewhere archive;
  sqm::testing::FakeHost host;
  host.host.serializer = &archive;
  sqm::Host::install(host.host);
  sqm::QFRecordUploader& uploader = *sqm::QFRecordUploader::sharedQFRecordUploader();

  // The build folder is on a disk. In memory a sync costs nothing.
  const tools::TemporaryFolder onDisk(std::filesystem::read_symlink("/proc/self/exe").parent_path());
  const tools::TemporaryFolder inMemory("/dev/shm");
  for (const std::size_t length : {1U, 100U, 10'000U}) {
    compareQueueing(uploader, archive, length, onDisk, Medium::disk, 1.1);
    compareQueueing(uploader, archive, length, inMemory, Medium::memory, 1.2);
  }
  return bench::run(argc, argv);
}
