#pragma once

#include <QMainWindow>
#include <functional>

#include "inc/host/ControlMessages.h"
#include "inc/host/ControlProfile.h"
#include "inc/host/ControlReport.h"
#include "inc/host/ControlWindow.h"
#include "platform/component/counted_objects.h"

/// What the control sees of its container.
class CControlSite final : public CUnknown<IControlSite>
{
  public:
    /// Answers with this object, which stands for the container.
    HRESULT GetContainer(IUnknown** container) override;
    HRESULT OnInPlaceActive(bool active) override;
};

/// The container's window: the control fills it. Its place and size are kept in the application profile.
class CMainWindow : public QMainWindow
{
    Q_OBJECT

  public:
    CMainWindow();
    /// Takes the control's window down before its own.
    ~CMainWindow() override;

    /// Embeds the control; false when it has no window to show.
    /// With a sink the control's messages go there and open no box; it must outlive this. With `profile`
    /// "operator" the control is asked for it; one that has no profiles is embedded as it is.
    bool Embed(CComPtr<IControlWindow> control, const QString& profile, IMessageSink* messages = nullptr);

    /// The control's window, in which its panels are; null before Embed.
    QWidget* GetControlWidget() const;
    /// What the control's channels did; empty when it doesn't tell.
    std::vector<ChannelReport> GetChannels() const;
    std::vector<StationReport> GetStations() const;

    /// The window with its frame as it is on the screen, the control's own drawing included, as a PNG file; the
    /// whole screen while the wall is in full screen. Empty when the screen can't be read.
    QByteArray TakeScreenshot() const;

    /// Called once, when the window with the control has come up on the screen.
    void SetShownHandler(std::function<void()> handler) { m_ShownHandler = std::move(handler); }

    /// Called when the window is asked to close and still stands as it was.
    void SetClosingHandler(std::function<void()> handler) { m_ClosingHandler = std::move(handler); }

  protected:
    void showEvent(QShowEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

  private:
    class CFrame;

    void RestorePlace();
    void SavePlace() const;

    CComPtr<IControlWindow> m_pControl;
    CControlSite* m_pSite;  // one reference is ours
    CFrame* m_pFrame;       // the central widget, which holds the control's window
    std::function<void()> m_ShownHandler;
    std::function<void()> m_ClosingHandler;
};

/// The program's icon, drawn at all usual sizes.
QIcon MakeProgramIcon();
