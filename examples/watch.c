/* Prints the addresses that this host gets and loses: watch [SECONDS] */

#include <stdio.h>
#include <stdlib.h>

#include <kvtip/kvtip.h>

static void print_changes(const kvtip_change_list *changes) {
    for (size_t i = 0; i < changes->count; ++i) {
        const kvtip_change *change = changes->rows[i];
        char address[KVTIP_ADDRESS_TEXT_SIZE];
        kvtip_format_address(&change->address, address, sizeof address);
        if (change->kind == KVTIP_CHANGE_ADDRESS_ADDED) {
            printf("%s has got %s\n", change->adapter, address);
        } else if (change->kind == KVTIP_CHANGE_ADDRESS_REMOVED) {
            printf("%s has lost %s\n", change->adapter, address);
        }
    }
}

int main(int argc, char **argv) {
    const uint32_t timeout = (uint32_t)(argc > 1 ? atoi(argv[1]) : 1) * 1000;
    /* The system signals changes; Wine does not, so look every second as well. */
    const kvtip_watch_options options = {
        .size = sizeof options, .flags = KVTIP_WATCH_ADDRESSES, .poll_interval = 1000};
    kvtip_watcher *watcher;
    uint32_t code = kvtip_watch(&options, &watcher);
    while (code == 0) {
        const kvtip_change_list *changes;
        code = kvtip_watcher_wait(watcher, timeout, &changes);
        if (code == 0) {
            print_changes(changes);
            kvtip_free(changes);
        }
    }
    kvtip_watcher_close(watcher);
    printf("ended: %s\n", kvtip_error_name(code));
    return 0;
}
