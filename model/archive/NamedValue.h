#pragma once

/// A field and its name in an archive. Lives only while a class describes its fields:
///     archive & Named("left", left) & Named("top", top);
template <class T>
struct NamedValue {
    const char* name;
    T& value;
};

template <class T>
NamedValue<T> Named(const char* name, T& value)
{
    return {name, value};
}
