#pragma once

#include <QApplication>
#include <QMessageBox>
#include <QTimer>
#include <string>
#include <vector>

/// Answers the message boxes that come up, by their default button, and keeps their texts.
class CBoxCatcher
{
  public:
    CBoxCatcher()
    {
        m_Timer.setInterval(LOOK_MS);
        QObject::connect(&m_Timer, &QTimer::timeout, [this] {
            if (auto* const box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
                m_Texts.push_back(box->text().toStdString());
                m_pOwner = box->parentWidget();
                box->accept();
            }
        });
        m_Timer.start();
    }
    std::vector<std::string> m_Texts;
    const QWidget* m_pOwner = nullptr;  // of the last one

  private:
    static constexpr int LOOK_MS = 5;
    QTimer m_Timer;
};
