#pragma once

// The module's at-exit list: the actions that run when the module unloads.

#include <exception>

#include "kvt/exceptions/fatal.h"

namespace kvt::main {

namespace impl {

/// One registered action.
struct at_exit_action_node {
    /// Reports an action that threw; holds the exception.
    class action_failed_exception : public exceptions::fatal {
    public:
        /// Must be called while the action's exception is being handled.
        KVTIP_NOINLINE action_failed_exception()
            : fatal(KVTIP_RETURN_ADDRESS(), "kvt::main::impl::at_exit_action_node::action_failed_exception::"
                                            "action_failed_exception: atexit action throws exception!"),
              cause_(std::current_exception()) {}

        const std::exception_ptr& cause() const noexcept { return cause_; }

    private:
        std::exception_ptr cause_;
    };

    void (*action)();
    at_exit_action_node* older;
};

} // namespace impl

/// Registers an action for `run_at_exit_actions`. Throws `std::bad_alloc`. Meant for static
/// initialisers, which run one after another: the list has no lock.
void at_exit(void (*action)());

/// Removes the actions from the list and runs them, newest first. An action that throws is passed to `report`
/// and does not stop the others; an exception that `report` throws is dropped. Actions that are registered
/// meanwhile run too.
void run_at_exit_actions(void (*report)(const impl::at_exit_action_node::action_failed_exception&)) noexcept;

} // namespace kvt::main
