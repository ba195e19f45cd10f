#include "sqm/platform/files/FileProblems.h"

#include <new>
#include <utility>

#include "sqm/common/Format.h"
#include "sqm/common/LogFile.h"

namespace sqm::platform {

namespace {

std::string_view formatOf(FileProblem::Operation operation) {
  return operation == FileProblem::Operation::read ? "cannot read %@: %@" : "cannot write %@: %@";
}

}  // namespace

std::string textOf(const FileProblem& problem) {
  std::string text;
  const std::string_view arguments[] = {problem.path, problem.reason};
  appendFormatted(text, formatOf(problem.operation), arguments);
  return text;
}

FileProblems::FileProblems(LogFileFactory& logs, FileProblemObserver observer)
    : logs_(&logs), observer_(std::move(observer)) {}

FileProblems::FileProblems(FileProblemObserver observer) : observer_(std::move(observer)) {}

void FileProblems::report(const FileProblem& problem) const try {
  const auto log = logs_ == nullptr ? nullptr : logs_->initWithFile("SQMFiles.log", kLogLevel);
  if (log) {
    log->writeLogToFileWithInfo("USER", kLogLevel, formatOf(problem.operation), {problem.path, problem.reason});
  }
  if (observer_) observer_(problem);
} catch (const std::bad_alloc&) {
}

}  // namespace sqm::platform
