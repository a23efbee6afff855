#include "model/archive/ObjectFactory.h"

#include "model/archive/Serializer.h"

namespace
{

IFactory* g_pFactories = nullptr;  // head of the registry

// Takes `item` out of the singly linked list that begins at `head`.
template <class T>
void Unlink(T*& head, T* item)
{
    T** link = &head;
    while (*link && *link != item)
        link = &(*link)->next;
    if (*link) *link = item->next;
}

template <class Predicate>
IFactory* FindFactory(Predicate matches)
{
    IFactory* factory = g_pFactories;
    while (factory && !matches(*factory))
        factory = factory->next;
    return factory;
}

}  // namespace

IFactory::IFactory() : next(g_pFactories)
{
    g_pFactories = this;
}

IFactory::~IFactory()
{
    Unlink(g_pFactories, this);
}

void IFactory::Serialize(const std::string& archiveType, void* archive, void* object) const
{
    for (const ISerializer* serializer = m_pSerializers; serializer; serializer = serializer->next) {
        if (serializer->GetArchiveType() == archiveType) {
            serializer->Serialize(archive, object);
            return;
        }
    }
    throw "trying to access unregistered serializer type";  // a plain text, as callers of the format know it
}

IFactory* FindFactoryByClassName(const std::string& className)
{
    return FindFactory([&](const IFactory& factory) { return factory.GetClassName() == className; });
}

IFactory* FindFactoryByTypeName(const std::string& typeName)
{
    return FindFactory([&](const IFactory& factory) { return factory.GetTypeName() == typeName; });
}

ISerializer::ISerializer(IFactory& factory) : next(factory.m_pSerializers), m_Factory(factory)
{
    factory.m_pSerializers = this;
}

ISerializer::~ISerializer()
{
    Unlink(m_Factory.m_pSerializers, this);
}
