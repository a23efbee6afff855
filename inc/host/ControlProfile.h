#pragma once

#include <string>

#include "inc/host/Component.h"

/// For a container that wants the control's newer behaviour where it differs from the classic one. A control
/// that isn't asked is classic.
class IControlProfile : public IUnknown
{
  public:
    static constexpr UUID IID = MakeUuid("6f2b7d90-3c1e-4b0a-8d57-9e1f4a60c2b8");

    /// Asks for "operator" or goes back to "classic", for the whole process; a profile in the user's settings
    /// goes before. E_INVALIDARG for another name, E_FAIL when this control's window stands already.
    virtual HRESULT SetProfile(const std::string& name) = 0;

  protected:
    ~IControlProfile() = default;
};
