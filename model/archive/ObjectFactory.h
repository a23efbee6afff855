#pragma once

#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "model/archive/TypeName.h"

class ISerializer;

// The registry of classes that archives can build by name: one process-wide list of factories. A factory links
// itself at the head when it is constructed and unlinks itself when it is destroyed. Factories stand in
// functions such as RegisterModelClasses, which whoever uses archives calls at its start, so that no linker
// drops them. The registry has no lock: it is written at module start and end only.

/// The class by which a list holds objects of class T: T::ArchiveRoot where T or a base of it names one, else
/// T. A list takes only objects of classes that share its root, whatever class name stands in the file.
template <class T, class = void>
struct ArchiveRootOf {
    using type = T;
};
template <class T>
struct ArchiveRootOf<T, std::void_t<typename T::ArchiveRoot>> {
    using type = typename T::ArchiveRoot;
};
template <class T>
using ArchiveRoot = typename ArchiveRootOf<T>::type;

/// Builds, reads and writes objects of one class without knowing it.
class IFactory
{
  public:
    IFactory();
    virtual ~IFactory();
    IFactory(const IFactory&) = delete;
    IFactory& operator=(const IFactory&) = delete;

    /// The run-time type name ("class CFolder").
    virtual const std::string& GetTypeName() const = 0;
    /// The name under which the class stands in files ("CFolder").
    virtual const std::string& GetClassName() const = 0;
    /// A new object with its defaults, as a pointer to its archive root; owned by the caller.
    virtual void* Create() const = 0;
    /// Reads or writes `object`, a pointer to the archive root of an object of this class, by the serializer
    /// for `archiveType`. Throws the text "trying to access unregistered serializer type" when there is none.
    void Serialize(const std::string& archiveType, void* archive, void* object) const;
    /// The archive root of the class.
    virtual const std::type_info& GetRootType() const = 0;

    IFactory* next = nullptr;  // the next factory of the process

  private:
    friend class ISerializer;
    ISerializer* m_pSerializers = nullptr;  // head of this class's list; each owns itself
};

/// The factory that was registered last under `className` or, for the other, for `typeName`; null when none
/// was.
IFactory* FindFactoryByClassName(const std::string& className);
IFactory* FindFactoryByTypeName(const std::string& typeName);

template <class T>
class ObjectFactory : public IFactory
{
  public:
    explicit ObjectFactory(std::string className)
        : m_strTypeName(RuntimeTypeName<T>()), m_strClassName(std::move(className))
    {
    }

    const std::string& GetTypeName() const override { return m_strTypeName; }
    const std::string& GetClassName() const override { return m_strClassName; }
    void* Create() const override { return static_cast<ArchiveRoot<T>*>(new T); }
    const std::type_info& GetRootType() const override { return typeid(ArchiveRoot<T>); }

  private:
    std::string m_strTypeName;
    std::string m_strClassName;
};
