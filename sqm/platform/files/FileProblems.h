#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace sqm {
class LogFileFactory;
}  // namespace sqm

namespace sqm::platform {

/// What could not be done with a file. The views are valid only while the problem is reported.
struct FileProblem {
  enum class Operation : std::uint8_t { read, write };

  Operation operation = Operation::read;
  std::string_view path;
  std::string_view reason;  ///< the system's, or what is wrong with the content
};

/// "cannot read PATH: REASON"
std::string textOf(const FileProblem& problem);

/// Called for each problem, on the thread that met it.
using FileProblemObserver = std::function<void(const FileProblem& problem)>;

/// Where a file service reports its problems: to the log "SQMFiles.log", to an observer, or to both. The log is opened
/// for each problem. Without memory for the report, there is none.
///
/// Ownership: the log factory must outlive the object.
/// Threading: that of the factory and the observer.
class FileProblems {
 public:
  // NOLINTBEGIN(google-explicit-constructor): a service takes a log, or an observer, as it comes.
  FileProblems(LogFileFactory& logs, FileProblemObserver observer = {});
  FileProblems(FileProblemObserver observer);
  // NOLINTEND(google-explicit-constructor)

  void cannotRead(std::string_view path, std::string_view reason) const {
    report({FileProblem::Operation::read, path, reason});
  }
  void cannotWrite(std::string_view path, std::string_view reason) const {
    report({FileProblem::Operation::write, path, reason});
  }

 private:
  void report(const FileProblem& problem) const;

  LogFileFactory* logs_ = nullptr;
  FileProblemObserver observer_;
};

}  // namespace sqm::platform
