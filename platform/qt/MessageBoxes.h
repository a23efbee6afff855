#pragma once

#include <functional>
#include <string_view>

// Whether message boxes come up. Panels' thread only.

/// Names what message boxes are told to in place of coming up; an empty function, the first state, lets them
/// come up again.
using MessageTeller = std::function<void(std::string_view text, std::string_view caption)>;
void SetMessageTeller(MessageTeller teller);

/// While one of these lives no message box comes up: nobody would be there to close it.
class CNoMessageBoxes
{
  public:
    CNoMessageBoxes();
    ~CNoMessageBoxes();
    CNoMessageBoxes(const CNoMessageBoxes&) = delete;
    CNoMessageBoxes& operator=(const CNoMessageBoxes&) = delete;
};

/// True when the box is not to come up; its text then went to the teller or, without one, to the debugger
/// output.
bool TellMessage(std::string_view text, std::string_view caption);
