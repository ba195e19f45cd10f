#pragma once

#include <string>

#include "sqm/common/TrelkConfiguration.h"

namespace sqm::platform {

/// The user's home directory, and the application's folders below it.
class HomeFolders : public TrelkConfiguration {
 public:
  /// An empty `homeDirectory` stands for the user's own, looked up anew at each call: $HOME, or where that is not set,
  /// what the password database says.
  explicit HomeFolders(const std::string& homeDirectory = {});

  std::string homeDirectory() const override;
  std::string applicationQuenfaFolderPath() const override;
  std::string logFolder() const;

 private:
  std::string homeDirectory_;
};

}  // namespace sqm::platform
