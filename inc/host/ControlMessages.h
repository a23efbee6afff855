#pragma once

#include <string>

#include "inc/host/Component.h"

/// A container's receiver of the messages that a control has for its user. Called on the host's thread.
class IMessageSink
{
  public:
    /// A message of its own, with the caption that its box would have.
    virtual void OnMessage(const std::string& caption, const std::string& text) = 0;

  protected:
    ~IMessageSink() = default;
};

/// For containers that run without a user: no message box is opened, its text goes to the container.
class IControlMessages : public IUnknown
{
  public:
    static constexpr UUID IID = MakeUuid("6c1a3f52-58a9-4e0c-b0f4-27d1c9a6e3b8");

    /// Has the messages of all controls of the module go to `sink`, which must stay valid until null is set,
    /// which is the first state and brings the boxes back. Each box counts as accepted. A link's message comes
    /// when the command, or the control's end, that it was in is over; the sink may end controls.
    virtual HRESULT SetMessageSink(IMessageSink* sink) = 0;

  protected:
    ~IControlMessages() = default;
};
