#include "tools/collector/metrics/Metrics.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <prometheus/client_metric.h>
#include <prometheus/metric_family.h>
#include <prometheus/text_serializer.h>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/collector/CountTable.h"
#include "tools/collector/metrics/Process.h"

namespace collector {

namespace {

using prometheus::ClientMetric;
using prometheus::MetricFamily;
using prometheus::MetricType;

constexpr const char* kType = "text/plain; version=0.0.4; charset=utf-8";

/// The metrics of one answer.
class Families {
 public:
  void addCounter(std::string_view name, std::string_view help, double value, std::vector<ClientMetric::Label> labels) {
    ClientMetric metric;
    metric.label = std::move(labels);
    metric.counter.value = value;
    family(name, help, MetricType::Counter).metric.push_back(std::move(metric));
  }

  void addGauge(std::string_view name, std::string_view help, double value) {
    ClientMetric metric;
    metric.gauge.value = value;
    family(name, help, MetricType::Gauge).metric.push_back(std::move(metric));
  }

  void addHistogram(std::string_view name, std::string_view help, const Histogram& histogram) {
    ClientMetric metric;
    std::uint64_t count = 0;
    for (std::size_t i = 0; i <= Histogram::kLimits.size(); ++i) {
      count += histogram.count(i);
      const bool isLast = i == Histogram::kLimits.size();
      metric.histogram.bucket.push_back(
          {count, isLast ? std::numeric_limits<double>::infinity() : Histogram::kLimits.at(i)});
    }
    metric.histogram.sample_count = count;
    metric.histogram.sample_sum = histogram.seconds();
    family(name, help, MetricType::Histogram).metric.push_back(std::move(metric));
  }

  std::string text() const { return prometheus::TextSerializer().Serialize(families_); }

 private:
  /// The family of this name, which is the last one or new.
  MetricFamily& family(std::string_view name, std::string_view help, MetricType type) {
    if (families_.empty() || families_.back().name != name) {
      families_.push_back({std::string(name), std::string(help), type, {}});
    }
    return families_.back();
  }

  std::vector<MetricFamily> families_;
};

void addCounts(Families& families, const Counters& counters) {
  for (const CountRow& row : kCountTable) {
    std::vector<ClientMetric::Label> labels;
    if (!row.label.empty()) labels.push_back({std::string(row.label), std::string(row.value)});
    families.addCounter("sqm_collector_" + std::string(row.name), row.help, static_cast<double>(counters.of(row.count)),
                        std::move(labels));
  }
  const auto ended = static_cast<double>(counters.of(Count::connectionsEnded));  // read first: it is never the greater
  families.addGauge("sqm_collector_connections", "Open connections.",
                    static_cast<double>(counters.of(Count::connectionsAccepted)) - ended);
  families.addHistogram("sqm_collector_post_duration_seconds",
                        "From the head of a post to its answer, or to its reset.", counters.postDurations());
}

void addStorage(Families& families, const StorageCounters& storage) {
  const auto addCounter = [&](const char* name, const char* help, std::uint64_t value) {
    families.addCounter(name, help, static_cast<double>(value), {});
  };
  addCounter("sqm_collector_records_total", "Records that arrived in posts that were kept.", storage.records);
  addCounter("sqm_collector_duplicate_records_total", "Those of them that had been stored before.", storage.duplicates);
  addCounter("sqm_collector_commits_total", "Transactions that were committed.", storage.commits);
  addCounter("sqm_collector_commits_failed_total", "Transactions that were not committed.", storage.failures);
  families.addGauge("sqm_collector_posts_waiting", "Posts that wait for their commit.",
                    static_cast<double>(storage.waiting));
  families.addGauge("sqm_collector_in_flight_bytes",
                    "Bytes reserved for bodies that are read or wait, and their records.",
                    static_cast<double>(storage.bytesInFlight));
  families.addGauge("sqm_collector_oldest_wait_seconds", "How long the first post that waits has waited.",
                    std::chrono::duration<double>(storage.oldestWait).count());
}

/// Under the names that all clients of Prometheus use.
void addProcess(Families& families) {
  const ProcessFigures process = readProcessFigures();
  families.addCounter("process_cpu_seconds_total", "Processor time of the process.", process.cpuSeconds, {});
  families.addGauge("process_resident_memory_bytes", "Resident memory of the process.", process.residentBytes);
  families.addGauge("process_start_time_seconds", "When the process started, since 1970.", process.startTime);
  families.addGauge("process_open_fds", "Open files and connections of the process.", process.openFiles);
  families.addGauge("process_max_fds", "Files and connections that it may have open.", process.mostOpenFiles);
  families.addGauge("process_threads", "Threads of the process.", process.threads);
}

}  // namespace

void addMetrics(HttpServer& server, const Services& services) {
  server.Get("/metrics", [services](const httplib::Request&, httplib::Response& response) {
    Families families;
    addCounts(families, services.counters);
    addStorage(families, services.keeper.counters());
    if (services.tls != nullptr) {
      families.addGauge("sqm_collector_certificate_expiry_timestamp_seconds",
                        "When the certificate expires, since 1970.", static_cast<double>(services.tls->expiry()));
    }
    addProcess(families);
    response.set_content(families.text(), kType);
  });
}

}  // namespace collector
