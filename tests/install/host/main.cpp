#include <dlfcn.h>

#include <QApplication>
#include <QTimer>
#include <QWidget>
#include <cstdio>
#include <cstdlib>

#include "inc/host/ControlWindow.h"

// host [SECONDS]: a window with the control in it, for as long as it isn't closed, or for that time.
int main(int argc, char** argv)
{
    const QApplication application(argc, argv);
    void* const module = dlopen(WATCHWALL_MODULE, RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr) {
        std::fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    const auto getClass = reinterpret_cast<DLLGETCLASSOBJECT>(dlsym(module, "DllGetClassObject"));

    QWidget window;
    window.resize(800, 600);
    CComPtr<IClassFactory> factory;
    CComPtr<IControlWindow> control;
    if (FAILED(factory.Receive(
            [&](void** object) { return getClass(CLSID_ActiveXCtrl, IClassFactory::IID, object); })) ||
        FAILED(control.Create(*factory)) || FAILED(control->CreateControlWindow(&window))) {
        std::fprintf(stderr, "the control can't be made\n");
        return 1;
    }
    control->SetBounds(0, 0, window.width(), window.height());
    window.show();
    if (argc > 1) QTimer::singleShot(std::atoi(argv[1]) * 1000, &application, &QCoreApplication::quit);
    const int code = QApplication::exec();
    control->DestroyControlWindow();
    return code;
}
