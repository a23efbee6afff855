#include "platform/component/component_registry.h"

#include <atomic>
#include <cstdlib>
#include <span>

#include "platform/files/profile_edit.h"
#include "platform/os/paths.h"
#include "platform/os/user_folders.h"

namespace
{

// The sections. Those of categories are apart from the class's own, which goes as one when it is unregistered.
std::string LibrarySection(const UUID& id)
{
    return "TypeLib\\" + UuidText(id);
}
constexpr const char* INTERFACES = "Interface\\";
std::string InterfaceSection(const UUID& id)
{
    return INTERFACES + UuidText(id);
}
std::string ClassSection(const UUID& id)
{
    return "CLSID\\" + UuidText(id);
}
std::string MembershipSection(const UUID& classId)
{
    return "Implemented Categories\\" + UuidText(classId);
}
std::string CategorySection(const UUID& id)
{
    return "Component Categories\\" + UuidText(id);
}
constexpr const char* NAMES = "ProgID";

std::string Hexadecimal(std::uint32_t value)
{
    constexpr std::string_view DIGITS = "0123456789ABCDEF";
    std::string text;
    for (; value != 0 || text.empty(); value >>= 4)
        text.insert(text.begin(), DIGITS[value & 15]);
    return text.insert(0, "0x");
}

std::uint32_t ReadNumber(const CIniText& ini, const std::string& section, const char* key)
{
    std::string text;
    ini.Find(section, key, text);
    return static_cast<std::uint32_t>(std::strtoul(text.c_str(), nullptr, 0));
}

UUID ReadUuid(const CIniText& ini, const std::string& section, const char* key)
{
    UUID id;
    std::string text;
    ini.Find(section, key, text);
    ParseUuid(text, id);
    return id;
}

// The file is reopened by each call, so that two processes see each other's changes.
class CUserRegistry final : public IComponentRegistry
{
  public:
    HRESULT RegisterTypeLibrary(const TypeLibrary& library) override
    {
        return Edit(TYPE_E_REGISTRYACCESS, [&](CIniText& ini) {
            const std::string section = LibrarySection(library.id);
            RemoveInterfaces(ini, library.id);
            for (const InterfaceRegistration& described : library.interfaces) {
                if (!SetInterface(ini, described, library.id)) return false;
            }
            return ini.Set(section, "Name", library.name) && ini.Set(section, "Version", library.version) &&
                   ini.Set(section, "HelpFile", library.helpFile) && ini.Set(section, "Path", library.path) &&
                   ini.Set(section, "Control", library.controlName);
        });
    }

    HRESULT UnregisterTypeLibrary(const UUID& id) override
    {
        return Edit(TYPE_E_REGISTRYACCESS, [&](CIniText& ini) {
            RemoveInterfaces(ini, id);
            ini.RemoveSection(LibrarySection(id));
            return true;
        });
    }

    HRESULT RegisterClass(const ClassRegistration& registration) override
    {
        return Edit(REGDB_E_WRITEREGDB, [&](CIniText& ini) {
            const std::string section = ClassSection(registration.id);
            RemoveName(ini, registration.id);
            return ini.Set(section, NAMES, registration.programmaticName) &&
                   ini.Set(section, "InprocServer32", registration.module) &&
                   ini.Set(section, "MiscStatus", Hexadecimal(registration.miscStatus)) &&
                   ini.Set(section, "Threading", std::to_string(registration.threading)) &&
                   ini.Set(section, "TypeLib", UuidText(registration.typeLibrary)) &&
                   ini.Set(section, "TypeName", std::to_string(registration.typeName)) &&
                   ini.Set(section, "ToolboxBitmap32", std::to_string(registration.bitmap)) &&
                   ini.Set(NAMES, registration.programmaticName, UuidText(registration.id));
        });
    }

    HRESULT UnregisterClass(const UUID& id) override
    {
        return Edit(REGDB_E_WRITEREGDB, [&](CIniText& ini) {
            RemoveName(ini, id);
            ini.RemoveSection(ClassSection(id));
            return true;
        });
    }

    HRESULT RegisterCategories(std::uint32_t count, const Category* categories) override
    {
        return Edit(REGDB_E_WRITEREGDB, [&](CIniText& ini) {
            for (const Category& category : std::span(categories, count)) {
                if (!ini.Set(CategorySection(category.id), "Description", category.description)) return false;
            }
            return true;
        });
    }

    HRESULT RegisterClassImplCategories(const UUID& classId, std::uint32_t count,
                                        const UUID* categories) override
    {
        return Edit(REGDB_E_WRITEREGDB, [&](CIniText& ini) {
            for (const UUID& category : std::span(categories, count)) {
                if (!ini.Set(MembershipSection(classId), UuidText(category), "1")) return false;
            }
            return true;
        });
    }

    HRESULT UnRegisterClassImplCategories(const UUID& classId, std::uint32_t count,
                                          const UUID* categories) override
    {
        return Edit(REGDB_E_WRITEREGDB, [&](CIniText& ini) {
            const std::string section = MembershipSection(classId);
            for (const UUID& category : std::span(categories, count)) {
                ini.RemoveKey(section, UuidText(category));
            }
            if (ini.KeyNames(section).empty()) ini.RemoveSection(section);
            return true;
        });
    }

    bool FindClass(const std::string& programmaticName, ClassRegistration& registration) override
    {
        CIniText ini;
        ReadIniFile(GetComponentRegistryPath(), ini);
        UUID id;
        std::string text;
        if (!ini.Find(NAMES, programmaticName, text) || !ParseUuid(text, id)) return false;
        const std::string section = ClassSection(id);
        if (!ini.HasSection(section)) return false;
        registration = {};
        registration.id = id;
        ini.Find(section, NAMES, registration.programmaticName);
        ini.Find(section, "InprocServer32", registration.module);
        registration.miscStatus = ReadNumber(ini, section, "MiscStatus");
        registration.threading = ReadNumber(ini, section, "Threading");
        registration.typeLibrary = ReadUuid(ini, section, "TypeLib");
        registration.typeName = ReadNumber(ini, section, "TypeName");
        registration.bitmap = ReadNumber(ini, section, "ToolboxBitmap32");
        return true;
    }

  private:
    static HRESULT Edit(HRESULT failure, const std::function<bool(CIniText& ini)>& edit)
    {
        const std::string path = GetComponentRegistryPath();
        MakeSureDirectoryPathExists(path);
        const EReplace result = EditIniFile(path, edit);
        if (result == EReplace::Refused) return E_INVALIDARG;
        return result == EReplace::Done ? S_OK : failure;
    }

    static bool SetInterface(CIniText& ini, const InterfaceRegistration& described, const UUID& library)
    {
        const std::string section = InterfaceSection(described.id);
        return ini.Set(section, "Name", described.name) &&
               ini.Set(section, "Description", described.description) &&
               ini.Set(section, "TypeLib", UuidText(library));
    }

    // Takes out the interfaces of a library; those that another one describes by now stay.
    static void RemoveInterfaces(CIniText& ini, const UUID& library)
    {
        for (const std::string& section : ini.SectionNames()) {
            if (section.starts_with(INTERFACES) && ReadUuid(ini, section, "TypeLib") == library)
                ini.RemoveSection(section);
        }
    }

    // Takes out the class's programmatic name, unless another class has it by now.
    static void RemoveName(CIniText& ini, const UUID& id)
    {
        std::string name;
        std::string owner;
        if (ini.Find(ClassSection(id), NAMES, name) && ini.Find(NAMES, name, owner) && owner == UuidText(id)) {
            ini.RemoveKey(NAMES, name);
        }
    }
};

constinit std::atomic<IComponentRegistry*> g_pRegistry = nullptr;

}  // namespace

std::string GetComponentRegistryPath()
{
    const char* const set = std::getenv("WATCHWALL_REGISTRY");
    return set != nullptr && *set != '\0' ? SystemPath(set) : SystemPath(UserDataFolder() + "/registry.ini");
}

IComponentRegistry& ComponentRegistry()
{
    static auto& user = *new CUserRegistry;
    IComponentRegistry* const registry = g_pRegistry.load();
    return registry == nullptr ? user : *registry;
}

IComponentRegistry* SetComponentRegistry(IComponentRegistry* registry)
{
    return g_pRegistry.exchange(registry);
}
