#pragma once

namespace collector {

/// What the process uses, from /proc (proc(5)). 0 where that cannot be read.
struct ProcessFigures {
  double cpuSeconds = 0;
  double residentBytes = 0;
  double startTime = 0;  ///< seconds since 1970
  double openFiles = 0;
  double mostOpenFiles = 0;
  double threads = 0;
};

ProcessFigures readProcessFigures();

}  // namespace collector
