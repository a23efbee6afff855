#include <QApplication>
#include <QTimer>
#include <QWidget>
#include <cstdio>

// The peer of start_bench: the least program that shows a window, and says so as watchwall does.

namespace
{
class CWindow final : public QWidget
{
  protected:
    void showEvent(QShowEvent*) override
    {
        QTimer::singleShot(0, this, [this] {
            repaint();
            std::puts("shown");
            std::fflush(stdout);
        });
    }
};
}  // namespace

int main(int argc, char** argv)
{
    const QApplication application(argc, argv);
    CWindow window;
    window.resize(800, 600);
    window.show();
    return QApplication::exec();
}
