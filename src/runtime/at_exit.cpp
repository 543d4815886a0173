#include "runtime/at_exit.h"

#include <memory>

namespace kvt::main {

namespace {

constinit impl::at_exit_action_node* newest = nullptr;

} // namespace

void at_exit(void (*action)()) {
    newest = new impl::at_exit_action_node{action, newest};
}

void run_at_exit_actions(void (*report)(const impl::at_exit_action_node::action_failed_exception&)) {
    while (newest != nullptr) {
        const std::unique_ptr<impl::at_exit_action_node> node(newest);
        newest = node->older;
        try {
            node->action();
        } catch (...) {
            report(impl::at_exit_action_node::action_failed_exception());
        }
    }
}

} // namespace kvt::main
