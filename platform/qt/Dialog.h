#pragma once

#include <QHash>
#include <QPointer>
#include <QWidget>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "inc/EntryCheck.h"
#include "platform/qt/MessagePump.h"
#include "platform/qt/WindowHandle.h"
#include "platform/windows/windows.h"

class QEventLoop;
class QPainter;

/// The base of panels and dialogs. The object may live before and after its window: a panel is a member of what
/// holds it and gets its window by Create.
///
/// The window's life: Create or DoModal makes it and calls OnCreate; OnCreateControls; OnInitDialog; then it is
/// shown. It goes by DestroyWindow, with its parent, or after EndDialog: OnDestroy is called while the controls
/// still stand, parents before their children. A derived class whose OnDestroy has work to do calls
/// DestroyWindow in its destructor, as the base's destructor can no longer reach it. Panels' thread only.
class CDialog : public IPreTranslate
{
  public:
    /// `number` names the dialog: by it a program that drives the panels finds its window as "dialog<number>".
    explicit CDialog(int number) : m_iNumber(number) {}
    ~CDialog() override;
    CDialog(const CDialog&) = delete;
    CDialog& operator=(const CDialog&) = delete;

    /// Makes the window as a modeless child and shows it. False, with no window left, when it has one already
    /// or OnCreate answers -1.
    bool Create(QWidget* parent);

    /// Shows the dialog as a window of its own over `owner` and returns when EndDialog is called, with its
    /// result; -1 when the window can't be made. Messages go on being served.
    int DoModal(QWidget* owner);
    void EndDialog(int result);

    /// Destroys the window and what is in it; false when there is none.
    bool DestroyWindow();

    QWidget* Widget() const;
    HWND Handle() const;

    /// Moves the window in its parent, in device-independent pixels.
    void MoveWindow(int x, int y, int width, int height);

    /// Gives `control`, a child of this dialog, its identifier; later ones of the same identifier are not
    /// found. A click on a button becomes a command with it. The dialog owns the control. Returns the control.
    template <typename T>
    T* AddControl(int id, T* control)
    {
        Adopt(id, control);
        return control;
    }

    /// The control of that identifier, or null when there is none or it is of another type.
    template <typename T = QWidget>
    T* GetDlgItem(int id) const
    {
        return qobject_cast<T*>(m_Controls.value(id).data());
    }

    /// Texts are UTF-8. Labels, buttons, group boxes, edit fields and combos (their present text); false or ""
    /// for another control or none.
    bool SetDlgItemText(int id, std::string_view text);
    std::string GetDlgItemText(int id) const;
    void SetWindowText(std::string_view text);

  protected:
    /// Adds the controls. Called once per window.
    virtual void OnCreateControls() = 0;

    /// -1 ends the creation. The controls don't stand yet.
    virtual std::int32_t OnCreate() { return 0; }

    /// True gives the keyboard's focus to the first control that takes it, if the dialog is a modal one.
    virtual bool OnInitDialog() { return true; }
    virtual void OnDestroy() {}
    virtual void OnPaint(QPainter& /*painter*/, const QRect& /*area*/) {}
    virtual void OnSize(int /*width*/, int /*height*/) {}

    /// The window is asked to close; the base takes it for OnCancel.
    virtual void OnClose() { OnCancel(); }

    /// A command from a control, a menu or a message; true when it was one of this dialog's. The base knows
    /// IDOK and IDCANCEL.
    virtual bool OnCommand(int id);

    /// The base ends a modal dialog and does nothing to a modeless one.
    virtual void OnOK();
    virtual void OnCancel();

    /// Answers every message sent or posted to the window. The base turns WM_COMMAND (the low 16 bits of its
    /// first parameter) and WM_CLOSE into the operations above and answers 0.
    virtual LRESULT WindowProc(std::uint32_t message, WPARAM wParam, LPARAM lParam);

    /// Sees keys, if a message hook asks the windows, and mouse buttons before the dialog's controls do. The
    /// base has keys dispatched to the controls and passes everything else on.
    virtual EPreTranslate PreTranslateMessage(MSG& message);

  private:
    class CWidget;
    class CStartUp;
    enum class ETell { Debugger, User };

    /// Runs a handler and stops its exceptions, as nothing may leave an event of the toolkit.
    template <typename THandler>
    void Call(ETell tell, THandler handler) noexcept;
    void Tell(ETell tell, const char* fault) const;
    void Command(int id);
    EPreTranslate PreTranslate(MSG& message) final;
    bool Build(QWidget* parent, Qt::WindowFlags flags);
    void Adopt(int id, QWidget* control);
    bool DialogKey(int key);
    void WindowGoes();

    const int m_iNumber;
    CThreadMark m_PanelsThread;
    QPointer<CWidget> m_pWidget;  // owned by its parent, or by DoModal
    std::unique_ptr<CWindowHandle> m_pHandle;
    QHash<int, QPointer<QWidget>> m_Controls;
    QEventLoop* m_pLoop = nullptr;
    int m_iResult = 0;
};
