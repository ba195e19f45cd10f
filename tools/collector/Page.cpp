#include "tools/collector/Page.h"

namespace collector {

namespace {

using namespace std::string_view_literals;

constexpr Asset kAssets[] = {
#include "PageAssets.inc"  // made from the files in page/
};

}  // namespace

std::span<const Asset> assets() { return kAssets; }

}  // namespace collector
