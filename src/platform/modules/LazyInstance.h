#pragma once

#include "common/Result.h"
#include "platform/modules/ModuleLoader.h"

#include <QString>

#include <memory>
#include <mutex>

namespace platform::modules {

// The one object of `Interface` a module makes, made on first use: until something needs
// it, neither the module nor the libraries it links are loaded.
template <typename Interface> class LazyInstance {
public:
    // `unavailable` starts the sentence a failure gives, e.g. "Text recognition is not available".
    LazyInstance(const char* file, const char* factory, QString unavailable)
        : m_file(file), m_factory(factory), m_unavailable(std::move(unavailable)) {}

    // The object, made by the first call from any thread; later calls give the same object
    // or the same error.
    Result<Interface*> get() {
        std::call_once(m_once, [this] {
            const Result<void*> factory = findFactory(m_file, m_factory);
            if (factory)
                m_instance.reset(reinterpret_cast<Interface* (*)()>(*factory)());
            else
                m_error = Error{m_unavailable + QStringLiteral(": ") + factory.error().message};
        });
        if (m_instance) return m_instance.get();
        return m_error;
    }

private:
    const char* m_file;
    const char* m_factory;
    QString m_unavailable;
    std::once_flag m_once;
    std::unique_ptr<Interface> m_instance;
    Error m_error;
};

} // namespace platform::modules
