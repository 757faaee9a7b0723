// Sessions.
#pragma once

#include <string>

#include "lab/mapi/stubs.h"

namespace lab {

class Session final : public SessionStubs<IMAPISession> {
 public:
  Session(std::string madeBy, std::wstring profile);

  STDMETHODIMP GetMsgStoresTable(ULONG flags, LPMAPITABLE* table) override;
  STDMETHODIMP OpenMsgStore(ULONG_PTR parent, ULONG entryIdSize, LPENTRYID entryId, LPCIID iid,
                            ULONG flags, LPMDB* store) override;
  STDMETHODIMP Logoff(ULONG_PTR parent, ULONG flags, ULONG reserved) override;

 private:
  const std::wstring profile_;
};

}  // namespace lab
