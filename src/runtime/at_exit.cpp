#include "runtime/at_exit.h"

#include <memory>

namespace kvt::main {

namespace {

constinit impl::at_exit_action_node* newest = nullptr;

} // namespace

void at_exit(void (*action)()) {
    newest = new impl::at_exit_action_node{action, newest};
}

void run_at_exit_actions(void (*report)(const impl::at_exit_action_node::action_failed_exception&)) noexcept {
    while (newest != nullptr) {
        const std::unique_ptr<impl::at_exit_action_node> node(newest);
        newest = node->older;
        try {
            node->action();
        } catch (...) {
            try {
                report(impl::at_exit_action_node::action_failed_exception());
            } catch (...) {
                // Memory can be too short for a report. The other actions still run.
            }
        }
    }
}

} // namespace kvt::main
