#pragma once

#include <functional>
#include <string_view>

// Whether message boxes come up. Panels' thread only.

/// Names what message boxes are told to in place of coming up; an empty function, the first state, lets them
/// come up again.
using MessageTeller = std::function<void(std::string_view text, std::string_view caption)>;
void SetMessageTeller(MessageTeller teller);

/// While one of these lives no message box comes up: nobody would be there to close it. What would come
/// up is told when no handler is at work any more: whoever is told may end something, and this stands while
/// something ends.
class CNoMessageBoxes
{
  public:
    /// The boxes that stand for other threads are let go: a thread that waits for an answer can't be waited
    /// for.
    CNoMessageBoxes();
    ~CNoMessageBoxes();
    CNoMessageBoxes(const CNoMessageBoxes&) = delete;
    CNoMessageBoxes& operator=(const CNoMessageBoxes&) = delete;

    static bool IsAny();
};

/// While one of these lives a message box that another thread asks for comes up without being waited for, its
/// asker has IDOK at once: the loop of a box serves the container, which may delete what the caller works on.
/// The teller is told of it from the event loop.
class CUnwaitedMessageBoxes
{
  public:
    CUnwaitedMessageBoxes();
    ~CUnwaitedMessageBoxes();
    CUnwaitedMessageBoxes(const CUnwaitedMessageBoxes&) = delete;
    CUnwaitedMessageBoxes& operator=(const CUnwaitedMessageBoxes&) = delete;

    static bool IsAny();
};

/// A message box stands for another thread.
class CStandingBox
{
  public:
    /// `letGo` answers the thread and closes the box.
    explicit CStandingBox(std::function<void()> letGo);
    ~CStandingBox();
    CStandingBox(const CStandingBox&) = delete;
    CStandingBox& operator=(const CStandingBox&) = delete;

  private:
    friend class CNoMessageBoxes;
    const std::function<void()> m_LetGo;
};

/// Whether no box is to come up.
bool AreMessagesTold();

/// True when the box is not to come up; its text then goes to the teller or, without one, to the debugger
/// output.
bool TellMessage(std::string_view text, std::string_view caption);
