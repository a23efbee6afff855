#pragma once

#include <string>

#include "model/archive/ObjectFactory.h"
#include "model/archive/TypeName.h"

/// Reads or writes the objects of one class with one kind of archive. Linked into the class's factory for as
/// long as it lives.
class ISerializer
{
  public:
    explicit ISerializer(IFactory& factory);
    virtual ~ISerializer();
    ISerializer(const ISerializer&) = delete;
    ISerializer& operator=(const ISerializer&) = delete;

    /// The archive's run-time type name.
    virtual const std::string& GetArchiveType() const = 0;
    /// `archive` is an archive of that type, `object` an object of the factory's class, given as its archive
    /// root.
    virtual void Serialize(void* archive, void* object) const = 0;

    ISerializer* next = nullptr;  // the next serializer of the same class

  private:
    IFactory& m_Factory;
};

template <class Archive, class T>
class Serializer : public ISerializer
{
  public:
    using ISerializer::ISerializer;

    const std::string& GetArchiveType() const override { return RuntimeTypeName<Archive>(); }
    void Serialize(void* archive, void* object) const override
    {
        auto* const root = static_cast<ArchiveRoot<T>*>(object);
        static_cast<T*>(root)->Serialize(*static_cast<Archive*>(archive));
    }
};
