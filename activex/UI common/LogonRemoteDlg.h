#pragma once

#include <QPointer>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/qt/Dialog.h"
#include "remote/RemoteStation.h"

class CHistoryCombo;
class QLabel;
class QWidget;

/// Sent to the parent of the panel's parent when a station was added; the second parameter is the count of
/// channels that this panel has added since its window was made.
inline constexpr std::uint32_t LOGON_MESSAGE_ADDED = 0x9999;

/// The logon panel: asks for a machine's address and account, builds a station, connects, logs on and puts the
/// station with its channels into the model. Nothing is added unless all steps succeed, and each failure is
/// shown in a message box. The panel's thread blocks until then; a busy cursor and a line in the panel say so.
/// Panels' thread only.
class CLogonRemoteDlg : public CDialog
{
  public:
    static constexpr int TEMPLATE = 563;
    static constexpr int ADDRESS = 1447;
    static constexpr int USER = 1241;
    static constexpr int PASSWORD = 1242;
    static constexpr int CONTROL_PORT = 1065;
    static constexpr int DATA_PORT = 1066;
    static constexpr int STATUS_LINE = 1448;  // says that the logon is at work
    static constexpr std::int32_t DEFAULT_CONTROL_PORT = 10060;
    static constexpr std::int32_t DEFAULT_DATA_PORT = 10061;

    /// Makes the station that the panel logs on with.
    using StationFactory = std::function<std::unique_ptr<CRemoteStation>()>;
    explicit CLogonRemoteDlg(StationFactory factory);
    ~CLogonRemoteDlg() override;

    std::int32_t GetChannelsAdded() const { return m_iChannelsAdded; }
    /// Gives the keyboard to the address, as soon as the panel is seen in an active window.
    void TakeFocus();

  protected:
    void OnCreateControls() override;
    std::int32_t OnCreate() override;
    bool OnInitDialog() override;
    void OnSize(int width, int height) override;
    void OnPaint(QPainter& painter, const QRect& area) override;
    void OnOK() override;
    EPreTranslate PreTranslateMessage(MSG& message) override;

  private:
    void PlaceControls(int width);
    void ReadControls();
    void Logon();
    std::unique_ptr<CRemoteStation> Connect();
    void ShowFailure(const char* key);
    void ShowBusy(bool busy);

    StationFactory m_Factory;
    std::string m_szAddress;
    std::string m_szUserName;
    std::string m_szPassword;
    std::int32_t m_iControlPort = DEFAULT_CONTROL_PORT;
    std::int32_t m_iDataPort = DEFAULT_DATA_PORT;
    bool m_bFlag = false;  // held for the record; nothing reads it
    std::int32_t m_iChannelsAdded = 0;
    bool m_bBusy = false;
    QPointer<QWidget> m_pFocus;  // had the keyboard when the logon began
};
