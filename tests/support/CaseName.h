#pragma once

#include <string>

#include <gtest/gtest.h>

/// Names a test with a parameter after the parameter's `name`.
struct CaseName {
  template <typename Case>
  std::string operator()(const ::testing::TestParamInfo<Case>& test) const {
    return test.param.name;
  }
};
