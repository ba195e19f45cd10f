// A diagnostics report, compared with compressing its text, by a compressor and into a buffer that exist already.

#include <libdeflate.h>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "sqm/diagnostics/SQMDiagnosticsRecord.h"
#include "sqm/platform/text/GzipBase64.h"
#include "sqm/platform/text/JsonText.h"
#include "sqm/testing/FakeHost.h"

#include "bench/Comparison.h"

namespace {

constexpr int kEntries = 50;

/// The platform's compressor, which also records its last input.
class KeepingCompressor : public sqm::TextCompressor {
 public:
  std::optional<std::string> compressStringWithEncoding(std::string_view text, int encoding,
                                                        std::size_t fitting) const override {
    given_ = text;
    return gzip_.compressStringWithEncoding(text, encoding, fitting);
  }

  const std::string& given() const { return given_; }

 private:
  mutable std::string given_;
  sqm::platform::GzipBase64 gzip_;
};

void fill(sqm::SQMDiagnosticsRecord& record) {
  record.setSsid("Café & Bar");
  record.setSigStrength("-61");
  record.setNic("en1");
  record.setRavixUrl("http://probe.example/");
  record.setLoginURL("https://portal.example/login");
  record.setErrorCode("2");
  record.setErrorDetails("Timeout");
  for (int entry = 0; entry < kEntries; ++entry) {
    const std::string number = std::to_string(entry);
    record.discoveryDetails()->emplace_back(
        sqm::JsonObject{{"Step", number},
                        {"URL", "https://portal.example/discover?session=" + std::to_string(7919 * (entry + 1))},
                        {"Answer", entry % 3 == 0 ? "200" : "302"}});
  }
}

}  // namespace

int main(int argc, char** argv) {
  sqm::platform::JsonText json;
  sqm::platform::GzipBase64 gzip;
  sqm::testing::FakeHost host;
  host.host.jsonWriter = &json;
  KeepingCompressor keeping;
  host.host.compressor = &keeping;
  sqm::SQMDiagnosticsRecord record(host.host);
  fill(record);
  bench::require(!record.formattedDiagnosticJsonBlob().empty(), "the report does not fit");
  const std::string text = keeping.given();
  host.host.compressor = &gzip;

  bench::compare(
      "a report/50 entries", {.aim = 1.5},
      [&record](benchmark::State& state) {
        for (auto _ : state) {
          bench::require(!record.formattedDiagnosticJsonBlob().empty(), "a report cannot be made");
        }
      },
      [&text](benchmark::State& state) {
        constexpr int kLevel = 9;
        const std::unique_ptr<libdeflate_compressor, decltype(&libdeflate_free_compressor)> compressor(
            libdeflate_alloc_compressor(kLevel), &libdeflate_free_compressor);
        const std::size_t most = libdeflate_gzip_compress_bound(compressor.get(), text.size());
        const auto bytes = std::make_unique_for_overwrite<char[]>(most);
        for (auto _ : state) {
          bench::require(libdeflate_gzip_compress(compressor.get(), text.data(), text.size(), bytes.get(), most) != 0,
                         "the text cannot be compressed");
          benchmark::DoNotOptimize(bytes.get());
        }
      });
  return bench::run(argc, argv);
}
