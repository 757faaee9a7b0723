#include "src/commands/in_use_files.h"

#include <windows.h>

#include "src/platform/text.h"

bool InUseFiles::ContainsPath(const std::string& path) {
  if (next_ == paths_.end() || next_->first != path) next_ = paths_.lower_bound(path);
  if (next_ == paths_.end() || next_->first != path) return false;
  ++next_;
  return true;
}

bool InUseFiles::ContainsFile(const std::wstring& file) {
  const auto identity = platform::IdentityOf(file);
  if (!identity) return false;
  if (!identities_) LookUpIdentities();
  return identities_->contains(*identity);
}

void InUseFiles::LookUpIdentities() {
  identities_.emplace();
  for (const auto& [path, samePath] : paths_) {
    const auto identity = platform::IdentityOf(platform::FromCodePage(path, CP_ACP));
    if (identity) identities_->insert(*identity);
  }
}
