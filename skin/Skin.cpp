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
#include "platform/qt/QtPlatform.h"
#include "skin/SkinPaint.h"
#include "skin/SkinStyle.h"
#include "skin/VectorIcon.h"
#include "skin/theme/ThemeParser.h"

namespace
{
enum class ERole { Dialog, Render, Control, Menu };

struct XAttached {
    QPointer<QWidget> pWidget;
    ERole role;
    QString strElement;
};

/// Gives the style to controls that come into a skinned window later.
class CNewcomerFilter final : public QObject
{
  public:
    bool eventFilter(QObject* watched, QEvent* event) override;
};

struct XSkin {
    bool bStarted = false;
    std::shared_ptr<const CTheme> pTheme;
    // panels' thread only; the application object owns style and filter, which no widget outlives
    QPointer<CSkinStyle> pStyle;
    QPointer<CNewcomerFilter> pFilter;
    std::vector<XAttached> attached;
};

XSkin& Skin()
{
    static auto* const skin = new XSkin;  // to process end: widgets may go later than any static object
    return *skin;
}

void GiveStyle(QWidget& widget)
{
    XSkin& skin = Skin();
    if (widget.style() != skin.pStyle) widget.setStyle(skin.pStyle);
    widget.installEventFilter(skin.pFilter);
    for (QObject* child : widget.children()) {
        if (child->isWidgetType()) GiveStyle(static_cast<QWidget&>(*child));
    }
}

bool CNewcomerFilter::eventFilter(QObject*, QEvent* event)
{
    // Polished, not added: only then is the child the widget that it is going to be.
    if (event->type() == QEvent::ChildPolished) {
        QObject* child = static_cast<QChildEvent*>(event)->child();
        if (child->isWidgetType() && Skin().pTheme) GiveStyle(static_cast<QWidget&>(*child));
    }
    return false;
}

void GiveFont(QWidget& widget, const XElement& element)
{
    QFont font = QApplication::font(&widget);
    if (font.pointSizeF() > 0) {
        font.setPointSizeF(font.pointSizeF() * element.iFontPercent / 100);
    } else {
        font.setPixelSize(font.pixelSize() * element.iFontPercent / 100);
    }
    font.setBold(element.bBold);
    widget.setFont(font);
}

void GiveLook(const XAttached& attached)
{
    XSkin& skin = Skin();
    QWidget& widget = *attached.pWidget;
    const XElement* element = skin.pTheme->FindElement(attached.strElement.toStdString());
    if (!element) return;  // the theme was changed for one that lacks it
    const XLook& look = element->Look(EState::Normal);
    if (attached.role == ERole::Render) {
        QPalette palette = widget.palette();
        palette.setColor(QPalette::Window, ToQColor(look.fill.top));
        widget.setPalette(palette);
        return;
    }
    if (attached.role == ERole::Control) {
        CSkinStyle::SetElement(widget, attached.strElement);
        GiveFont(widget, *element);
        if (auto* label = qobject_cast<QLabel*>(&widget)) {
            QPalette palette = label->palette();
            palette.setColor(QPalette::Active, QPalette::WindowText, ToQColor(look.text));
            palette.setColor(QPalette::Inactive, QPalette::WindowText, ToQColor(look.text));
            palette.setColor(QPalette::Disabled, QPalette::WindowText,
                             ToQColor(element->Look(EState::Disabled).text));
            if (!look.fill.IsNone()) palette.setColor(QPalette::Window, ToQColor(look.fill.top));
            label->setAutoFillBackground(!look.fill.IsNone());
            label->setPalette(palette);
        }
    } else {
        widget.setPalette(skin.pStyle->PaletteFor(*element));
    }
    GiveStyle(widget);
    widget.updateGeometry();
    widget.update();
}

bool Attach(QWidget* widget, const char* element, ERole role)
{
    XSkin& skin = Skin();
    if (!skin.pTheme || !widget || !element || !qApp) return false;
    if (!skin.pTheme->FindElement(element)) {
        OutputDebugStringA("skin: the theme has no element " + std::string(element) + "\n");
        return false;
    }
    if (!skin.pStyle) {
        skin.pStyle = new CSkinStyle(skin.pTheme);
        skin.pStyle->setParent(qApp);
        skin.pFilter = new CNewcomerFilter;
        skin.pFilter->setParent(qApp);
    }
    std::erase_if(skin.attached,
                  [widget](const XAttached& one) { return !one.pWidget || one.pWidget == widget; });
    skin.attached.push_back({widget, role, QString::fromUtf8(element)});
    GiveLook(skin.attached.back());
    return true;
}

void TakeLook(const XAttached& attached)
{
    QWidget& widget = *attached.pWidget;
    widget.setPalette(QPalette());
    if (attached.role != ERole::Control) return;
    CSkinStyle::SetElement(widget, {});
    widget.setFont(QFont());
}
}  // namespace

std::int32_t StartSkin(const void* module, std::intptr_t, std::intptr_t)
{
    XSkin& skin = Skin();
    if (!module || skin.bStarted) return 0;
    skin.bStarted = true;
    return 1;
}

std::int32_t LoadSkin(const std::string& path)
{
    XSkin& skin = Skin();
    if (!skin.bStarted) return 0;
    auto theme = std::make_shared<CTheme>();
    XThemeError error;
    if (!LoadTheme(HostPath(path), *theme, error)) {
        const std::string line = error.iLine > 0 ? "line " + std::to_string(error.iLine) + ": " : "";
        LogFault("LoadSkin", "the theme " + path + " can't be used: " + line + error.strText);
        return 0;
    }
    skin.pTheme = std::move(theme);
    SetDialogDecorator([](QWidget& dialog) { SkinDialog(&dialog, "DialogMain"); });
    if (skin.pStyle) {
        skin.pStyle->SetTheme(skin.pTheme);
        std::erase_if(skin.attached, [](const XAttached& one) { return !one.pWidget; });
        for (const XAttached& one : skin.attached)
            GiveLook(one);
    }
    return 1;
}

void StopSkin()
{
    XSkin& skin = Skin();
    if (!skin.bStarted) return;
    if (skin.pStyle) {
        for (const XAttached& one : skin.attached) {
            if (one.pWidget) TakeLook(one);
        }
        for (QWidget* widget : QApplication::allWidgets()) {
            if (widget->style() == skin.pStyle) widget->setStyle(nullptr);
        }
        delete skin.pFilter;
        delete skin.pStyle;
    }
    SetDialogDecorator({});
    skin.attached.clear();
    skin.pTheme.reset();
    skin.bStarted = false;
}

bool SkinDialog(QWidget* window, const char* element)
{
    return Attach(window, element, ERole::Dialog);
}

bool SkinRenderWindow(QWidget* window, const char* element)
{
    return Attach(window, element, ERole::Render);
}

bool SkinControl(QWidget* control, const char* element)
{
    return Attach(control, element, ERole::Control);
}

bool SkinPopupMenu(QMenu* menu)
{
    if (!Attach(menu, "Menu", ERole::Menu)) return false;
    for (QAction* action : menu->actions()) {
        if (action->menu()) SkinPopupMenu(action->menu());
    }
    return true;
}

QIcon SkinIcon(const QString& icon, const char* element)
{
    const XSkin& skin = Skin();
    if (!skin.pTheme || !skin.pTheme->FindIcon(icon.toStdString())) return {};
    const XElement* from = skin.pTheme->FindElement(element);
    return from ? MakeVectorIcon(skin.pTheme, icon.toStdString(), *from) : QIcon();
}
