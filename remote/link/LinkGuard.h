#pragma once

#include <functional>
#include <string>

/// Runs `receive`, a link from its first call to the end of its stream. What one channel's bytes or the lack of
/// memory for them bring about ends that channel alone: nothing is thrown, and a line of the log tells "<name>
/// ends: <reason>" when there is memory for one. `function` is the writer's name in the log.
void RunGuarded(const char* function, const std::function<std::string()>& name,
                const std::function<void()>& receive);
