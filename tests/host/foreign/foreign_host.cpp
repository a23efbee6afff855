// A host that is not ours: it loads the module by its path, puts controls into windows of its own and ends in
// one of the ways in which hosts end. It knows the module by inc/host alone.
//
//   foreign_host MODULE CONTROLS END [NETID]
//
// With NETID the first control's panels log on and open all channels, and the end comes when each has shown
// pictures. It writes "ready" when it has come to its end. Its current folder is another one once the module is
// loaded.

#include <dlfcn.h>
#include <unistd.h>

#include <QApplication>
#include <QPointer>
#include <QTimer>
#include <QWidget>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "host/ScriptedOperator.h"
#include "inc/host/ControlReport.h"
#include "inc/host/ControlWindow.h"

namespace
{

constexpr int CONTROL_WIDTH = 800;
constexpr int CONTROL_HEIGHT = 600;
constexpr int LOOK_MS = 20;

constexpr int STATUS_NO_CONTROL = 90;
constexpr int STATUS_SCRIPT_FAILED = 91;
constexpr int STATUS_STILL_LOADED = 92;

struct Embedding {
    QPointer<QWidget> window = new QWidget;
    CComPtr<IControlWindow> control;
};

struct Host {
    void* module = nullptr;
    std::vector<Embedding> embeddings;
};

// Controls that a host keeps in static storage are released while the process ends, and so are windows.
Host g_Host;
std::vector<std::unique_ptr<QWidget>> g_Windows;

bool Embed(Host& host)
{
    const auto getClassObject = reinterpret_cast<DLLGETCLASSOBJECT>(dlsym(host.module, "DllGetClassObject"));
    CComPtr<IClassFactory> factory;
    if (getClassObject == nullptr || FAILED(factory.Receive([&](void** made) {
            return getClassObject(CLSID_ActiveXCtrl, IClassFactory::IID, made);
        })))
        return false;
    Embedding made;
    if (FAILED(made.control.Create(*factory))) return false;
    made.window->resize(CONTROL_WIDTH, CONTROL_HEIGHT);
    if (FAILED(made.control->CreateControlWindow(made.window))) return false;
    made.control->SetBounds(0, 0, CONTROL_WIDTH, CONTROL_HEIGHT);
    made.window->show();
    host.embeddings.push_back(std::move(made));
    return true;
}

bool AllPlay(const Host& host)
{
    CComPtr<IControlReport> report;
    std::vector<ChannelReport> channels;
    if (FAILED(report.Query(*host.embeddings.front().control))) return false;
    if (FAILED(report->GetChannels(channels)) || channels.empty()) return false;
    for (const ChannelReport& channel : channels) {
        if (channel.shown == 0) return false;
    }
    return true;
}

// Takes one embedding down after the other; the answer tells whether the module says that nothing is left of
// it.
int EndTidily(Host& host, bool firstOneFirst)
{
    while (!host.embeddings.empty()) {
        const auto one = firstOneFirst ? host.embeddings.begin() : host.embeddings.end() - 1;
        one->control->DestroyControlWindow();
        delete one->window;
        host.embeddings.erase(one);
        QApplication::processEvents();
    }
    const auto canUnload = reinterpret_cast<DLLCANUNLOADNOW>(dlsym(host.module, "DllCanUnloadNow"));
    return canUnload() == S_OK ? 0 : STATUS_STILL_LOADED;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 4) return STATUS_NO_CONTROL;
    // A window that is closed does not end this host.
    QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    const std::string end = argv[3];
    auto* const host = end == "static" ? &g_Host : new Host;  // never destroyed, but for the static one
    host->module = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (host->module == nullptr || ::chdir("/") != 0) return STATUS_NO_CONTROL;
    for (int i = 0; i < std::atoi(argv[2]); ++i) {
        if (!Embed(*host)) return STATUS_NO_CONTROL;
    }

    const std::map<std::string, std::function<void()>> ends = {
        {"exit", [] { std::exit(0); }},
        {"static", [] { std::exit(0); }},
        {"static-windows",
         [host] {
             for (const Embedding& embedding : host->embeddings)
                 g_Windows.emplace_back(embedding.window);
             std::exit(0);
         }},
        {"quick-exit", [] { std::quick_exit(0); }},
        {"return", [] { QApplication::exit(0); }},
        {"tidy", [host] { QApplication::exit(EndTidily(*host, true)); }},
        {"tidy-backwards", [host] { QApplication::exit(EndTidily(*host, false)); }},
        {"wait", [] {}},
    };
    const auto chosen = ends.find(end);
    if (chosen == ends.end()) return STATUS_NO_CONTROL;

    Options script;
    script.logon = argc > 4 ? argv[4] : "";
    script.openAll = true;
    std::unique_ptr<CScriptedOperator> scripted;
    QTimer look;
    if (argc > 4) {
        auto* const panel = static_cast<QWidget*>(host->embeddings.front().control->GetControlWindow());
        scripted = std::make_unique<CScriptedOperator>(script, *panel, nullptr);
        QObject::connect(scripted.get(), &CScriptedOperator::Finished, [](const QString& fault) {
            if (!fault.isEmpty()) QApplication::exit(STATUS_SCRIPT_FAILED);
        });
        scripted->Start();
    }
    QObject::connect(&look, &QTimer::timeout, [&] {
        if (scripted != nullptr && !AllPlay(*host)) return;
        look.stop();
        scripted.reset();
        std::puts("ready");
        std::fflush(stdout);
        chosen->second();
    });
    look.start(LOOK_MS);
    return QApplication::exec();
}
