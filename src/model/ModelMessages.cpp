#include "marovin/ModelMessages.h"

#include <iostream>
#include <mutex>

namespace marovin {
namespace {

std::mutex& sinkMutex() {
    static std::mutex m;
    return m;
}

std::shared_ptr<iModelMessageSink>& installedSink() {
    static std::shared_ptr<iModelMessageSink> sink;
    return sink;
}

} // namespace

void SetModelMessageSink(std::shared_ptr<iModelMessageSink> sink) {
    std::lock_guard lock(sinkMutex());
    installedSink() = std::move(sink);
}

void ShowModelCritical(const std::string& strText) {
    std::shared_ptr<iModelMessageSink> sink;
    {
        std::lock_guard lock(sinkMutex());
        sink = installedSink();
    }
    if (sink)
        sink->ShowCritical(strText);
    else
        std::cerr << strText << '\n';
}

} // namespace marovin
