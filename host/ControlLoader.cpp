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

// Null, with a message, when the file can't be loaded or lacks the entry.
template <typename ENTRY>
ENTRY FindEntry(const QString& path, const char* name, QString& message)
{
    void* const module =
        dlopen(QFileInfo(path).absoluteFilePath().toLocal8Bit().constData(), RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr) {
        message = QStringLiteral(
                      "The control's module can't be loaded: %1\nBuild it, or name another one with --module.")
                      .arg(QString::fromLocal8Bit(dlerror()));
        return nullptr;
    }
    auto* const entry = reinterpret_cast<ENTRY>(dlsym(module, name));
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

bool Register(const QString& path, QString& message)
{
    const auto entry = FindEntry<DLLREGISTERSERVER>(path, "DllRegisterServer", message);
    if (entry == nullptr) return false;
    const HRESULT result = entry();
    if (SUCCEEDED(result)) return true;
    message = result == E_FAIL
                  ? WhyNotStarted()
                  : QStringLiteral("The control can't be registered in %1 (%2). Is the folder writable?")
                        .arg(QString::fromStdString(HostPath(GetComponentRegistryPath())), Hex(result));
    return false;
}

// Where the registered module lies on this machine; empty when it isn't registered or is gone.
QString FindRegistered(UUID& classId)
{
    XClassRegistration entry;
    if (!ComponentRegistry().FindClass(ACTIVEX_PROGID, entry)) return {};
    const QString path = QString::fromStdString(HostPath(entry.strModule));
    classId = entry.Id;
    return QFileInfo(path).isFile() ? path : QString();
}

// The module of a built or an installed program; empty when there is none.
QString FindOwn()
{
    const QString folder = QCoreApplication::applicationDirPath();
    for (const QString& place : {folder + '/' + MODULE_NAME, folder + "/../lib/watchwall/" + MODULE_NAME}) {
        if (QFileInfo(place).isFile()) return QFileInfo(place).canonicalFilePath();
    }
    return {};
}

}  // namespace

CComPtr<IControlWindow> LoadControl(const QString& module, QString& message)
{
    UUID class_id;
    QString path = module.isEmpty() ? FindRegistered(class_id) : QString();
    // A program that was moved or built anew uses the module that came with it.
    const QString own = FindOwn();
    const bool other = !own.isEmpty() && QFileInfo(path).canonicalFilePath() != own;
    if (path.isEmpty() || other) {
        const QString beside = QCoreApplication::applicationDirPath() + '/' + MODULE_NAME;
        const QString wanted = !module.isEmpty() ? module : own.isEmpty() ? beside : own;
        if (!Register(wanted, message)) return {};
        path = FindRegistered(class_id);
        if (path.isEmpty()) {
            message = QStringLiteral("The control was registered, but %1 does not name its module.")
                          .arg(QString::fromStdString(HostPath(GetComponentRegistryPath())));
            return {};
        }
    }
    const auto get_class_object = FindEntry<DLLGETCLASSOBJECT>(path, "DllGetClassObject", message);
    if (get_class_object == nullptr) return {};
    CComPtr<IClassFactory> factory;
    HRESULT result =
        factory.Receive([&](void** object) { return get_class_object(class_id, IClassFactory::IID, object); });
    CComPtr<IControlWindow> control;
    if (SUCCEEDED(result)) result = control.Create(*factory);
    if (FAILED(result))
        message = result == E_FAIL ? WhyNotStarted()
                                   : QStringLiteral("The control can't be created (%1).").arg(Hex(result));
    return control;
}
