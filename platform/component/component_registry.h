#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "inc/host/Component.h"

// Where modules register what they hold: type libraries, classes, component categories. It is a file of the
// user in the ini form, which each call reads or replaces as one step under the lock of profile.h; a failed
// write leaves it as it was. Taking out what isn't there succeeds.

/// An interface that a type library describes.
struct InterfaceRegistration {
    UUID id;
    std::string name;
    std::string description;
    UUID typeLibrary;
};

struct TypeLibrary {
    UUID id;
    std::string name;
    std::string version;
    std::string helpFile;
    std::string path;                                    // of the module that holds it, in the system's form
    std::string controlName;                             // what hosts list the library's control as
    std::vector<InterfaceRegistration> interfaces = {};  // their `typeLibrary` isn't looked at
};

struct ClassRegistration {
    UUID id;
    std::string programmaticName;
    std::string module;  // full path in the system's form
    std::uint32_t miscStatus = 0;
    std::uint32_t threading = 0;  // 2: apartment
    UUID typeLibrary;
    // Resources of the module.
    std::uint32_t typeName = 0;  // the string that names the class
    std::uint32_t bitmap = 0;    // the picture for hosts' tool boxes
};

struct Category {
    UUID id;
    std::string description;
};

/// The component categories manager. Its failure is REGDB_E_WRITEREGDB, or E_INVALIDARG for a description of
/// more than one line.
class ICatRegister
{
  public:
    virtual ~ICatRegister() = default;
    /// Creates the categories; one that exists takes the new description.
    virtual HRESULT RegisterCategories(std::uint32_t count, const Category* categories) = 0;
    virtual HRESULT RegisterClassImplCategories(const UUID& classId, std::uint32_t count,
                                                const UUID* categories) = 0;
    /// The categories themselves stay.
    virtual HRESULT UnRegisterClassImplCategories(const UUID& classId, std::uint32_t count,
                                                  const UUID* categories) = 0;
};

class IComponentRegistry : public ICatRegister
{
  public:
    /// A library comes and goes with its interfaces. TYPE_E_REGISTRYACCESS when it can't be written.
    virtual HRESULT RegisterTypeLibrary(const TypeLibrary& library) = 0;
    virtual HRESULT UnregisterTypeLibrary(const UUID& id) = 0;
    /// REGDB_E_WRITEREGDB when it can't be written. Unregistering leaves the class's categories, which have
    /// calls of their own.
    virtual HRESULT RegisterClass(const ClassRegistration& registration) = 0;
    virtual HRESULT UnregisterClass(const UUID& id) = 0;

    /// False, and the record stays, for a name that isn't registered, in either case.
    virtual bool FindClass(const std::string& programmaticName, ClassRegistration& registration) = 0;
};

/// Full path of the registry's file, in the system's form: the environment variable WATCHWALL_REGISTRY when set
/// (not empty), else "registry.ini" in the user's data folder.
std::string GetComponentRegistryPath();

/// The user's registry, or what SetComponentRegistry put in its place. At any time from any thread.
IComponentRegistry& ComponentRegistry();

/// Puts `registry` in place of the user's (null goes back); returns the former one or null. For tests; it must
/// outlive its use.
IComponentRegistry* SetComponentRegistry(IComponentRegistry* registry);
