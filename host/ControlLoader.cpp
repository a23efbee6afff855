#include "host/ControlLoader.h"

#include <dlfcn.h>

#include <QCoreApplication>
#include <QFileInfo>

#include "platform/component/component_registry.h"
#include "platform/os/paths.h"

namespace
{

constexpr const char* MODULE_NAME = "activex.ocx";

QString Hex(HRESULT result)
{
    return QStringLiteral("0x%1").arg(static_cast<std::uint32_t>(result), 8, 16, QChar('0'));
}

QString RegistryFile()
{
    return QString::fromStdString(HostPath(GetComponentRegistryPath()));
}

// Null, with a message, when the file can't be loaded or lacks the entry.
template <typename Entry>
Entry FindEntry(const QString& path, const char* name, QString& message)
{
    void* const module =
        dlopen(QFileInfo(path).absoluteFilePath().toLocal8Bit().constData(), RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr) {
        message = QStringLiteral(
                      "The control's module can't be loaded: %1\nBuild it, or name another one with --module.")
                      .arg(QString::fromLocal8Bit(dlerror()));
        return nullptr;
    }
    auto* const entry = reinterpret_cast<Entry>(dlsym(module, name));
    if (entry == nullptr)
        message = QStringLiteral("%1 is no control module: it has no %2.").arg(path, QLatin1String(name));
    return entry;
}

QString WhyNotStarted()
{
    return QStringLiteral(
               "The control's module did not start. Its theme \"%1\" must be there and whole; set "
               "WATCHWALL_DEBUG=1 to "
               "see what is wrong with it.")
        .arg(QString::fromStdString(HostPath(GetModuleDirectory() + "config\\skin.smf")));
}

// Has the module at `path` put itself into the registry, or take itself out. E_FAIL without such a module, or
// when it doesn't start; any other failure is the registry's. With a message.
HRESULT Call(const QString& path, const char* entry, const char* fault, QString& message)
{
    const auto call = FindEntry<DLLREGISTERSERVER>(path, entry, message);
    const HRESULT result = call != nullptr ? call() : E_FAIL;
    if (SUCCEEDED(result) || call == nullptr) return result;
    message = result == E_FAIL ? WhyNotStarted()
                               : QStringLiteral("The control can't be %1 in %2 (%3). Is the folder writable?")
                                     .arg(QLatin1String(fault), RegistryFile(), Hex(result));
    return result;
}

HRESULT Register(const QString& path, QString& message)
{
    return Call(path, "DllRegisterServer", "registered", message);
}

// The module that is registered, as a path of this machine, and whether its file is there; empty when none is.
QString FindRegistered(bool& living)
{
    ClassRegistration entry;
    living = false;
    if (!ComponentRegistry().FindClass(ACTIVEX_PROGID, entry)) return {};
    QString path = QString::fromStdString(HostPath(entry.module));
    living = QFileInfo(path).isFile();
    return path;
}

// The module of a built or an installed program, and the place beside it when there is none.
QString FindOwn()
{
    const QString folder = QCoreApplication::applicationDirPath();
    QString beside = folder + '/' + MODULE_NAME;
    for (const QString& place : {beside, folder + "/../lib/watchwall/" + MODULE_NAME}) {
        if (QFileInfo(place).isFile()) return QFileInfo(place).canonicalFilePath();
    }
    return beside;
}

// What to load: the module that is named, the program's own, the registered one. The first of these that is
// there is registered when no living one is; another install's registration stays as it is. It need not be
// registered for this program: a registry that can't be written is told, and costs the others alone.
QString ChooseModule(const QString& named, QString& message)
{
    bool living = false;
    QString registered = FindRegistered(living);
    const QString own = FindOwn();
    const bool useRegistered = named.isEmpty() && living && !QFileInfo(own).isFile();
    if (useRegistered) return registered;
    QString path = named.isEmpty() ? own : named;
    if (!living && Register(path, message) == E_FAIL) path.clear();
    return path;
}

}  // namespace

bool RegisterControl(const QString& module, QString& message)
{
    bool living = false;
    const QString former = FindRegistered(living);
    const QString path = QFileInfo(module.isEmpty() ? FindOwn() : module).absoluteFilePath();
    if (FAILED(Register(path, message))) return false;
    message =
        QStringLiteral("%1 is registered as %2 in %3").arg(path, QLatin1String(ACTIVEX_PROGID), RegistryFile());
    if (living && QFileInfo(former).canonicalFilePath() != QFileInfo(path).canonicalFilePath())
        message += QStringLiteral(", in place of ") + former;
    return true;
}

bool UnregisterControl(const QString& module, QString& message)
{
    bool living = false;
    QString registered = FindRegistered(living);
    if (registered.isEmpty()) {
        message = QStringLiteral("nothing is registered as %1 in %2")
                      .arg(QLatin1String(ACTIVEX_PROGID), RegistryFile());
        return true;
    }
    const QString through = !module.isEmpty() ? module : living ? registered : FindOwn();
    if (FAILED(Call(through, "DllUnregisterServer", "unregistered", message))) return false;
    message = QStringLiteral("%1 is no longer registered in %2").arg(registered, RegistryFile());
    return true;
}

CComPtr<IControlWindow> LoadControl(const QString& module, QString& message)
{
    const QString path = ChooseModule(module, message);
    if (path.isEmpty()) return {};
    const auto getClassObject = FindEntry<DLLGETCLASSOBJECT>(path, "DllGetClassObject", message);
    if (getClassObject == nullptr) return {};
    CComPtr<IClassFactory> factory;
    HRESULT result = factory.Receive(
        [&](void** object) { return getClassObject(CLSID_ActiveXCtrl, IClassFactory::IID, object); });
    CComPtr<IControlWindow> control;
    if (SUCCEEDED(result)) result = control.Create(*factory);
    if (FAILED(result))
        message = result == E_FAIL ? WhyNotStarted()
                                   : QStringLiteral("The control can't be created (%1).").arg(Hex(result));
    return control;
}
