#include "tools/collector/Page.h"

#include <array>

namespace collector {

namespace {

constexpr std::array kAssets = {
    Asset{"/", "text/html; charset=utf-8",
          "<!DOCTYPE html><title>sqm-collector</title><p>What has arrived: <a href=\"/_requests\">requests</a>, "
          "<a href=\"/_records\">records</a>.\n"},
};

}  // namespace

std::span<const Asset> assets() { return kAssets; }

}  // namespace collector
