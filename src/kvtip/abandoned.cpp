#include "kvtip/abandoned.h"

#include <mutex>
#include <utility>

#include "kvtip/system_entries.h"

namespace kvtip::library {

class abandoned_operations {
public:
    ~abandoned_operations() { static_cast<void>(first_.release()); }

    void add(std::unique_ptr<pending_operation> operation) noexcept {
        const std::lock_guard guard(lock_);
        operation->next_ = std::move(first_);
        first_ = std::move(operation);
    }

    void destroy() noexcept {
        // Destroyed without the lock: an operation releases the libraries.
        for (std::unique_ptr<pending_operation> over = take_over(); over != nullptr;) {
            over = std::move(over->next_);
        }
    }

private:
    /// Takes those that are over out of the list.
    std::unique_ptr<pending_operation> take_over() noexcept {
        std::unique_ptr<pending_operation> over;
        const std::lock_guard guard(lock_);
        for (std::unique_ptr<pending_operation>* place = &first_; *place != nullptr;) {
            if ((*place)->is_over()) {
                std::unique_ptr<pending_operation> found = std::move(*place);
                *place = std::move(found->next_);
                found->next_ = std::move(over);
                over = std::move(found);
            } else {
                place = &(*place)->next_;
            }
        }
        return over;
    }

    critical_section lock_;
    std::unique_ptr<pending_operation> first_;
};

namespace {

abandoned_operations the_abandoned;

} // namespace

void abandon(std::unique_ptr<pending_operation> operation) noexcept {
    the_abandoned.add(std::move(operation));
}

void destroy_abandoned() noexcept {
    the_abandoned.destroy();
}

} // namespace kvtip::library
