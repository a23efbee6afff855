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

struct InputDocument;

/// Fills objects from an XML file. Named values are looked up among the children of the current element, so
/// their order in the file is free; what the file lacks keeps its present value.
///
/// Reading throws: the XML parser's error, with file and line in its text, for malformed text;
/// std::runtime_error for a file that can't be opened, for one without any element (an empty file is one), for
/// elements nested too deep and for a class name that has no factory or doesn't fit its list;
/// std::invalid_argument for a bad character in a bit set. Objects that were built so far belong to their
/// lists.
class XMLInputArchive
{
  public:
    /// The deepest nesting of elements that is taken.
    static constexpr int MAX_DEPTH = 256;

    /// `filename` in the system's form; the message "cannot open file " names it.
    explicit XMLInputArchive(const std::string& filename);
    /// From the content of a file; `name` is only for messages.
    XMLInputArchive(std::string_view text, const std::string& name);
    ~XMLInputArchive();
    XMLInputArchive(const XMLInputArchive&) = delete;
    XMLInputArchive& operator=(const XMLInputArchive&) = delete;

    /// Reads one named value.
    template <class T>
    XMLInputArchive& operator&(const NamedValue<T>& value)
    {
        const CElementScope scope(*this);
        if (EnterChild(value.name)) Read(value.value);
        return *this;
    }

  private:
    /// Restores the current element at the end of a scope.
    class CElementScope
    {
      public:
        explicit CElementScope(XMLInputArchive& archive) : m_Archive(archive), m_pElement(archive.GetElement())
        {
        }
        ~CElementScope() { m_Archive.SetElement(m_pElement); }
        CElementScope(const CElementScope&) = delete;
        CElementScope& operator=(const CElementScope&) = delete;

      private:
        XMLInputArchive& m_Archive;
        void* m_pElement;
    };

    void* GetElement() const;
    void SetElement(void* element);
    /// Makes the first child of that name current; false when there is none.
    bool EnterChild(const char* name);
    /// Makes the first child `item`, or the next sibling `item` of the current element, current.
    bool EnterFirstItem();
    bool EnterNextItem();
    void NoteClassName();
    bool HasChild() const;
    std::string_view GetValue() const;
    /// The bits as text, or nothing to read.
    bool ReadBits(std::string_view& bits, std::size_t count) const;
    /// The factory for the class name last read. Throws when there is none or it builds no `root`.
    const IFactory& GetFactory(const std::type_info& root) const;

    void Read(std::int32_t& value);
    void Read(std::uint32_t& value);
    void Read(std::int64_t& value);
    void Read(bool& value);
    void Read(std::string& value);

    template <std::size_t N>
    void Read(std::bitset<N>& value)
    {
        std::string_view bits;
        if (!ReadBits(bits, N)) return;
        value.reset();
        for (std::size_t i = 0; i < bits.size(); ++i)
            value[bits.size() - 1 - i] = bits[i] == '1';
    }

    template <class T>
    void Read(COwnedList<T>& list)
    {
        list.Clear();
        const CElementScope scope(*this);
        for (bool found = EnterFirstItem(); found; found = EnterNextItem())
            list.Append(ReadPointer<T>());
    }

    /// A list of plain values: one `item` for each.
    template <class T>
    void Read(std::vector<T>& list)
    {
        list.clear();
        const CElementScope scope(*this);
        for (bool found = EnterFirstItem(); found; found = EnterNextItem()) {
            T value{};
            Read(value);
            list.push_back(value);
        }
    }

    template <class T>
    std::unique_ptr<T> ReadPointer()
    {
        static_assert(std::is_same_v<T, ArchiveRoot<T>>, "a list holds its objects by their archive root");
        if (!HasChild()) return nullptr;
        const IFactory& factory = GetFactory(typeid(T));
        std::unique_ptr<T> object(static_cast<T*>(factory.Create()));
        factory.Serialize(RuntimeTypeName<XMLInputArchive>(), this, object.get());
        return object;
    }

    template <class T>
    void Read(T& object)
    {
        object.Serialize(*this);
    }

    std::string m_strFile;  // for messages
    std::unique_ptr<InputDocument> m_pDocument;
    std::string m_strClassName;  // last read from a `classname` attribute; stays until the next one
};
