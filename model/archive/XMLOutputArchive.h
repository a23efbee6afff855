#pragma once

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <typeinfo>
#include <vector>

#include "model/archive/NamedValue.h"
#include "model/archive/ObjectFactory.h"
#include "model/archive/OwnedList.h"

struct OutputDocument;

/// Builds XML from objects, beneath a root element "config". Throws std::runtime_error for an object in a list
/// whose class has no factory.
class XMLOutputArchive
{
  public:
    XMLOutputArchive();
    ~XMLOutputArchive();
    XMLOutputArchive(const XMLOutputArchive&) = delete;
    XMLOutputArchive& operator=(const XMLOutputArchive&) = delete;

    /// Writes one named value, after those written before.
    template <class T>
    XMLOutputArchive& operator&(const NamedValue<T>& value)
    {
        const CElementScope scope(*this, value.name);
        Write(value.value);
        return *this;
    }

    /// The document as text, indented with tabs.
    std::string GetText() const;

    /// Writes that text into the file, whose path is in the system's form; false when it can't be written.
    bool Save(const std::string& filename) const;

  private:
    /// A new element that is current for the length of a scope.
    class CElementScope
    {
      public:
        CElementScope(XMLOutputArchive& archive, const char* name)
            : m_Archive(archive), m_pOuter(archive.BeginElement(name))
        {
        }
        ~CElementScope() { m_Archive.EndElement(m_pOuter); }
        CElementScope(const CElementScope&) = delete;
        CElementScope& operator=(const CElementScope&) = delete;

      private:
        XMLOutputArchive& m_Archive;
        void* m_pOuter;
    };

    void* BeginElement(const char* name);
    void EndElement(void* outer);
    void WriteText(std::string_view text);
    /// Gives the current element its `classname` and returns the factory for the object's run-time type.
    const IFactory& WriteClassName(const std::type_info& type);

    void Write(const std::int32_t& value) { WriteText(std::to_string(value)); }
    void Write(const std::uint32_t& value) { WriteText(std::to_string(value)); }
    void Write(const std::int64_t& value) { WriteText(std::to_string(value)); }
    void Write(const bool& value) { WriteText(value ? "True" : "False"); }
    void Write(const std::string& value) { WriteText(value); }

    template <std::size_t N>
    void Write(const std::bitset<N>& value)
    {
        WriteText(value.to_string());  // highest bit first
    }

    template <class T>
    void Write(const COwnedList<T>& list)
    {
        for (std::size_t i = 0; i < list.size(); ++i) {
            const CElementScope scope(*this, "item");
            if (T* const object = list[i]) {
                const IFactory& factory = WriteClassName(typeid(*object));
                factory.Serialize(RuntimeTypeName<XMLOutputArchive>(), this, object);
            }
        }
    }

    template <class T>
    void Write(const std::vector<T>& list)
    {
        for (const T& value : list) {
            const CElementScope scope(*this, "item");
            Write(value);
        }
    }

    template <class T>
    requires requires(T& object, XMLOutputArchive& archive) { object.Serialize(archive); }
    void Write(T& object) { object.Serialize(*this); }

    std::unique_ptr<OutputDocument> m_pDocument;
};
