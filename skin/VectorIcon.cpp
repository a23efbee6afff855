#include "skin/VectorIcon.h"

#include <QIconEngine>
#include <QPainter>
#include <QPixmap>
#include <array>
#include <utility>

#include "skin/SkinPaint.h"

namespace
{
class CVectorIconEngine final : public QIconEngine
{
  public:
    CVectorIconEngine(std::shared_ptr<const CTheme> theme, const Icon& icon, const Element& element)
        : m_pTheme(std::move(theme)), m_pIcon(&icon)
    {
        for (std::size_t state = 0; state < STATE_COUNT; ++state)
            m_Marks[state] = element.looks[state].mark;
    }

    void paint(QPainter* painter, const QRect& area, QIcon::Mode mode, QIcon::State) override
    {
        // the order of QIcon::Mode
        static constexpr EState STATES[] = {EState::Normal, EState::Disabled, EState::Hover, EState::Checked};
        PaintIcon(*painter, area, *m_pIcon, ToQColor(m_Marks[static_cast<std::size_t>(STATES[mode])]));
    }

    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override
    {
        QPixmap picture(size);
        picture.fill(Qt::transparent);
        QPainter painter(&picture);
        paint(&painter, QRect(QPoint(0, 0), size), mode, state);
        return picture;
    }

    QIconEngine* clone() const override { return new CVectorIconEngine(*this); }

  private:
    std::shared_ptr<const CTheme> m_pTheme;  // owns m_pIcon
    const Icon* m_pIcon;
    std::array<Color, STATE_COUNT> m_Marks;
};
}  // namespace

QIcon MakeVectorIcon(std::shared_ptr<const CTheme> theme, std::string_view name, const Element& element)
{
    const Icon* icon = theme->FindIcon(name);
    return QIcon(new CVectorIconEngine(std::move(theme), *icon, element));
}
