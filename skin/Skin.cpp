#include "skin/Skin.h"

#include <QApplication>
#include <QChildEvent>
#include <QLabel>
#include <QMenu>
#include <QPointer>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "inc/LogLine.h"
#include "inc/OutputDebugString.h"
#include "platform/os/paths.h"
#include "platform/qt/PanelsThread.h"
#include "platform/qt/QtPlatform.h"
#include "skin/SkinPaint.h"
#include "skin/SkinStyle.h"
#include "skin/VectorIcon.h"
#include "skin/theme/ThemeParser.h"

namespace
{
enum class ERole { Dialog, Render, Control, Menu };

struct Attached {
    QPointer<QWidget> widget;
    ERole role;
    QString element;
};

/// Gives the style to controls that come into a skinned window later.
class CNewcomerFilter final : public QObject
{
  public:
    bool eventFilter(QObject* watched, QEvent* event) override;
};

struct SkinState {
    bool started = false;
    std::shared_ptr<const CTheme> theme;
    // panels' thread only; the application object owns style and filter, which no widget outlives
    QPointer<CSkinStyle> style;
    QPointer<CNewcomerFilter> filter;
    std::vector<Attached> attached;
};

SkinState& Skin()
{
    static auto* const skin = new SkinState;  // to process end: widgets may go later than any static object
    return *skin;
}

void GiveStyle(QWidget& widget)
{
    SkinState& skin = Skin();
    if (widget.style() != skin.style) widget.setStyle(skin.style);
    widget.installEventFilter(skin.filter);
    for (QObject* child : widget.children()) {
        if (child->isWidgetType()) GiveStyle(static_cast<QWidget&>(*child));
    }
}

bool CNewcomerFilter::eventFilter(QObject*, QEvent* event)
{
    // Polished, not added: only then is the child the widget that it is going to be.
    if (event->type() == QEvent::ChildPolished) {
        QObject* child = static_cast<QChildEvent*>(event)->child();
        if (child->isWidgetType() && Skin().theme) GiveStyle(static_cast<QWidget&>(*child));
    }
    return false;
}

void GiveFont(QWidget& widget, const Element& element)
{
    QFont font = QApplication::font(&widget);
    if (font.pointSizeF() > 0) {
        font.setPointSizeF(font.pointSizeF() * element.fontPercent / 100);
    } else {
        font.setPixelSize(font.pixelSize() * element.fontPercent / 100);
    }
    font.setBold(element.bold);
    widget.setFont(font);
}

void GiveLook(const Attached& attached)
{
    SkinState& skin = Skin();
    QWidget& widget = *attached.widget;
    const Element* element = skin.theme->FindElement(attached.element.toStdString());
    if (!element) return;  // the theme was changed for one that lacks it
    const Look& look = element->LookOf(EState::Normal);
    if (attached.role == ERole::Render) {
        QPalette palette = widget.palette();
        palette.setColor(QPalette::Window, ToQColor(look.fill.top));
        widget.setPalette(palette);
        return;
    }
    if (attached.role == ERole::Control) {
        CSkinStyle::SetElement(widget, attached.element);
        GiveFont(widget, *element);
        if (auto* label = qobject_cast<QLabel*>(&widget)) {
            QPalette palette = label->palette();
            palette.setColor(QPalette::Active, QPalette::WindowText, ToQColor(look.text));
            palette.setColor(QPalette::Inactive, QPalette::WindowText, ToQColor(look.text));
            palette.setColor(QPalette::Disabled, QPalette::WindowText,
                             ToQColor(element->LookOf(EState::Disabled).text));
            if (!look.fill.IsNone()) palette.setColor(QPalette::Window, ToQColor(look.fill.top));
            label->setAutoFillBackground(!look.fill.IsNone());
            label->setPalette(palette);
        }
    } else {
        widget.setPalette(skin.style->PaletteFor(*element));
    }
    GiveStyle(widget);
    widget.updateGeometry();
    widget.update();
}

bool Attach(QWidget* widget, const char* element, ERole role)
{
    SkinState& skin = Skin();
    if (!skin.theme || !widget || !element || !qApp) return false;
    if (!skin.theme->FindElement(element)) {
        OutputDebugStringA("skin: the theme has no element " + std::string(element) + "\n");
        return false;
    }
    if (!skin.style) {
        skin.style = new CSkinStyle(skin.theme);
        skin.style->setParent(qApp);
        skin.filter = new CNewcomerFilter;
        skin.filter->setParent(qApp);
    }
    std::erase_if(skin.attached, [widget](const Attached& one) { return !one.widget || one.widget == widget; });
    skin.attached.push_back({widget, role, QString::fromUtf8(element)});
    GiveLook(skin.attached.back());
    return true;
}

void TakeLook(const Attached& attached)
{
    QWidget& widget = *attached.widget;
    widget.setPalette(QPalette());
    if (attached.role != ERole::Control) return;
    CSkinStyle::SetElement(widget, {});
    widget.setFont(QFont());
}
}  // namespace

std::int32_t StartSkin(const void* module, std::intptr_t, std::intptr_t)
{
    SkinState& skin = Skin();
    if (!module || skin.started) return 0;
    skin.started = true;
    return 1;
}

std::int32_t LoadSkin(const std::string& path)
{
    SkinState& skin = Skin();
    if (!skin.started) return 0;
    auto theme = std::make_shared<CTheme>();
    ThemeError error;
    if (!LoadTheme(HostPath(path), *theme, error)) {
        const std::string line = error.line > 0 ? "line " + std::to_string(error.line) + ": " : "";
        LogFault("LoadSkin", "the theme " + path + " can't be used: " + line + error.text);
        return 0;
    }
    skin.theme = std::move(theme);
    SetDialogDecorator([](QWidget& dialog) { SkinDialog(&dialog, "DialogMain"); });
    if (skin.style) {
        skin.style->SetTheme(skin.theme);
        std::erase_if(skin.attached, [](const Attached& one) { return !one.widget; });
        for (const Attached& one : skin.attached)
            GiveLook(one);
    }
    return 1;
}

void StopSkin()
{
    ASSERT_PANELS_THREAD();
    SkinState& skin = Skin();
    if (!skin.started) return;
    if (skin.style) {
        for (const Attached& one : skin.attached) {
            if (one.widget) TakeLook(one);
        }
        for (QWidget* widget : QApplication::allWidgets()) {
            if (widget->style() == skin.style) widget->setStyle(nullptr);
        }
        delete skin.filter;
        delete skin.style;
    }
    SetDialogDecorator({});
    skin.attached.clear();
    skin.theme.reset();
    skin.started = false;
}

bool SkinDialog(QWidget* window, const char* element)
{
    ASSERT_PANELS_THREAD();
    return Attach(window, element, ERole::Dialog);
}

bool SkinRenderWindow(QWidget* window, const char* element)
{
    ASSERT_PANELS_THREAD();
    return Attach(window, element, ERole::Render);
}

bool SkinControl(QWidget* control, const char* element)
{
    ASSERT_PANELS_THREAD();
    return Attach(control, element, ERole::Control);
}

bool SkinPopupMenu(QMenu* menu)
{
    ASSERT_PANELS_THREAD();
    if (!Attach(menu, "Menu", ERole::Menu)) return false;
    for (QAction* action : menu->actions()) {
        if (action->menu()) SkinPopupMenu(action->menu());
    }
    return true;
}

QIcon SkinIcon(const QString& icon, const char* element)
{
    ASSERT_PANELS_THREAD();
    const SkinState& skin = Skin();
    if (!skin.theme || !skin.theme->FindIcon(icon.toStdString())) return {};
    const Element* from = skin.theme->FindElement(element);
    return from ? MakeVectorIcon(skin.theme, icon.toStdString(), *from) : QIcon();
}
