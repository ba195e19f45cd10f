#pragma once

#include <string>

#include "sqm/common/TrelkConfiguration.h"

namespace sqm::platform {

/// The user's home directory and the application's folders in it.
class HomeFolders : public TrelkConfiguration {
 public:
  /// An empty `homeDirectory` means the user's own, which is looked up in every call: $HOME or, when that is not set,
  /// the entry in the password database.
  explicit HomeFolders(const std::string& homeDirectory = {});

  std::string homeDirectory() const override;
  std::string applicationQuenfaFolderPath() const override;
  std::string logFolder() const;

 private:
  std::string homeDirectory_;
};

}  // namespace sqm::platform
