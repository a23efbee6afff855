#include "host/MainWindow.h"

#include <QApplication>
#include <QBuffer>
#include <QCloseEvent>
#include <QPainter>
#include <QScreen>
#include <QTimer>

#include "platform/files/profile.h"

namespace
{

constexpr int CONTROL_WIDTH = 800;  // what the control's layout is made for
constexpr int CONTROL_HEIGHT = 600;
constexpr const char* PROFILE_SECTION = "Container";
constexpr const char* PROFILE_KEY = "Geometry";
constexpr std::uint32_t PROFILE_BYTES = 1024;

}  // namespace

HRESULT CControlSite::GetContainer(IUnknown** container)
{
    if (container == nullptr) return E_POINTER;
    return QueryInterface(IUnknown::IID, reinterpret_cast<void**>(container));
}

HRESULT CControlSite::OnInPlaceActive(bool)
{
    return S_OK;
}

// Gives its whole area to the control.
class CMainWindow::CFrame : public QWidget
{
  public:
    explicit CFrame(CMainWindow& window) : QWidget(&window), m_Window(window) {}

  protected:
    void resizeEvent(QResizeEvent*) override
    {
        if (m_Window.m_pControl) m_Window.m_pControl->SetBounds(0, 0, width(), height());
    }

  private:
    CMainWindow& m_Window;
};

CMainWindow::CMainWindow() : m_pSite(new CControlSite), m_pFrame(new CFrame(*this))
{
    setWindowTitle(QStringLiteral("Watchwall"));
    setWindowIcon(MakeProgramIcon());
    setCentralWidget(m_pFrame);
    m_pFrame->setMinimumSize(CONTROL_WIDTH, CONTROL_HEIGHT);
    resize(CONTROL_WIDTH, CONTROL_HEIGHT);
    RestorePlace();
}

CMainWindow::~CMainWindow()
{
    if (m_pControl) {
        m_pControl->DestroyControlWindow();
        m_pControl->SetClientSite(nullptr);
        CComPtr<IControlMessages> hasMessages;
        if (SUCCEEDED(hasMessages.Query(*m_pControl))) hasMessages->SetMessageSink(nullptr);
        m_pControl.Reset();
    }
    m_pSite->Release();
}

bool CMainWindow::Embed(CComPtr<IControlWindow> control, const QString& profile, IMessageSink* messages)
{
    m_pControl = std::move(control);
    CComPtr<IControlMessages> hasMessages;
    if (messages != nullptr && SUCCEEDED(hasMessages.Query(*m_pControl))) hasMessages->SetMessageSink(messages);
    CComPtr<IControlProfile> hasProfile;
    if (profile == QLatin1String("operator") && SUCCEEDED(hasProfile.Query(*m_pControl)))
        hasProfile->SetProfile(profile.toStdString());
    m_pControl->SetClientSite(m_pSite);
    if (FAILED(m_pControl->CreateControlWindow(m_pFrame))) return false;
    m_pControl->SetBounds(0, 0, m_pFrame->width(), m_pFrame->height());
    return true;
}

QWidget* CMainWindow::GetControlWidget() const
{
    return m_pControl ? static_cast<QWidget*>(m_pControl->GetControlWindow()) : nullptr;
}

std::vector<ChannelReport> CMainWindow::GetChannels() const
{
    std::vector<ChannelReport> channels;
    CComPtr<IControlReport> report;
    if (m_pControl && SUCCEEDED(report.Query(*m_pControl))) report->GetChannels(channels);
    return channels;
}

std::vector<StationReport> CMainWindow::GetStations() const
{
    std::vector<StationReport> stations;
    CComPtr<IControlReport> report;
    if (m_pControl && SUCCEEDED(report.Query(*m_pControl))) report->GetStations(stations);
    return stations;
}

void CMainWindow::showEvent(QShowEvent* event)
{
    QMainWindow::showEvent(event);
    // The next turn of the event loop finds everything painted.
    if (!m_ShownHandler) return;
    QMetaObject::invokeMethod(
        this,
        [this] {
            repaint();
            if (m_ShownHandler) std::exchange(m_ShownHandler, {})();
        },
        Qt::QueuedConnection);
}

void CMainWindow::closeEvent(QCloseEvent* event)
{
    if (m_ClosingHandler) std::exchange(m_ClosingHandler, {})();
    SavePlace();
    QMainWindow::closeEvent(event);
}

void CMainWindow::RestorePlace()
{
    const std::string stored =
        GetProfileText(PROFILE_SECTION, PROFILE_KEY, "", PROFILE_BYTES, GetApplicationProfilePath());
    if (!stored.empty()) restoreGeometry(QByteArray::fromBase64(QByteArray::fromStdString(stored)));
}

void CMainWindow::SavePlace() const
{
    WritePrivateProfileStringA(PROFILE_SECTION, PROFILE_KEY, saveGeometry().toBase64().constData(),
                               GetApplicationProfilePath().c_str());
}

QByteArray CMainWindow::TakeScreenshot() const
{
    QScreen* shownOn = screen();
    QRect place = frameGeometry();
    for (QWidget* const window : QApplication::topLevelWidgets()) {
        if (!window->isVisible()) continue;
        window->repaint();  // an end may come before what has changed is painted
        if (!window->isFullScreen()) continue;
        shownOn = window->screen();
        place = shownOn->geometry();
    }
    place = place.intersected(shownOn->geometry()).translated(-shownOn->geometry().topLeft());
    const QPixmap picture = shownOn->grabWindow(0, place.x(), place.y(), place.width(), place.height());
    QByteArray file;
    QBuffer buffer(&file);
    if (picture.isNull() || !picture.save(&buffer, "PNG")) return {};
    return file;
}

QIcon MakeProgramIcon()
{
    QIcon icon;
    for (const int size : {16, 24, 32, 48, 64, 128, 256}) {
        QPixmap picture(size, size);
        picture.fill(Qt::transparent);
        QPainter painter(&picture);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.scale(size / 40.0, size / 40.0);
        painter.setPen(Qt::NoPen);
        QLinearGradient blue(0, 0, 0, 18);
        blue.setColorAt(0, QColor(0x4A, 0xB0, 0xF2));
        blue.setColorAt(1, QColor(0x1D, 0x6E, 0x98));
        for (int cell = 0; cell < 4; ++cell) {
            painter.setBrush(cell == 0 ? QBrush(blue) : QBrush(QColor(0x26, 0x29, 0x2E)));
            const int row = cell / 2;
            painter.drawRoundedRect(QRectF(cell % 2 * 21 + 1, row * 21 + 1, 17, 17), 3, 3);
        }
        painter.setBrush(QColor(0xF2, 0xF4, 0xF6));
        painter.drawEllipse(QPointF(9.5, 9.5), 5, 5);
        painter.setBrush(QColor(0x14, 0x38, 0x4C));
        painter.drawEllipse(QPointF(9.5, 9.5), 2.6, 2.6);
        painter.end();
        icon.addPixmap(picture);
    }
    return icon;
}
