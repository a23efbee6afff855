#include "model/archive/TypeName.h"

#include <cxxabi.h>

#include <cstdlib>
#include <memory>

std::string GetRuntimeTypeName(const std::type_info& type)
{
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> name(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), &std::free);
    return std::string("class ") + (name ? name.get() : type.name());
}

std::string GetBareClassName(const std::string& typeName)
{
    const std::size_t begin = typeName.find(' ') + 1;  // 0 when there is no blank
    return typeName.substr(begin, typeName.find(' ', begin) - begin);
}
