#pragma once

// Operations that were given up while the system still works on them.

#include <memory>

namespace kvtip::library {

/// What the system may still write to, and what must then be given back. Its members hold the libraries.
class pending_operation {
public:
    pending_operation() = default;
    virtual ~pending_operation() = default;
    pending_operation(const pending_operation&) = delete;
    pending_operation& operator=(const pending_operation&) = delete;

    /// Whether the system has ended the operation: the object may be destroyed then.
    virtual bool is_over() const noexcept = 0;

private:
    friend class abandoned_operations;
    std::unique_ptr<pending_operation> next_;
};

/// Keeps an operation until the system has ended it.
void abandon(std::unique_ptr<pending_operation> operation) noexcept;

/// Destroys the abandoned operations that are over by now. Whatever can abandon an operation calls this before
/// it begins, so that they do not pile up. Those that are not over when the DLL is unloaded stay behind: the
/// system may still write to them.
void destroy_abandoned() noexcept;

} // namespace kvtip::library
