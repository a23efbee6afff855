#pragma once

#include <QObject>
#include <QRect>

class QWidget;

/// The place of a child widget that has an X window of its own. The toolkit takes the place that the server
/// reports for the window's, also when the widget has been moved since; two changes in quick succession
/// could leave the former place for good. Any move of the widget but Put's is undone. A widget that is a
/// window of its own is the window manager's and is left alone. Panels' thread only.
class CWindowPlace : public QObject
{
    Q_OBJECT

  public:
    /// For `widget`, which is left where it is until Put. It outlives this.
    explicit CWindowPlace(QWidget& widget);

    void Put(const QRect& place);

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    QWidget& m_Widget;
    QRect m_Place;
    bool m_bPut = false;
};
