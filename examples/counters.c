/* Shows what the adapters that are up are, how fast they are, and what they have received and sent. */

#include <inttypes.h>
#include <stdio.h>

#include <kvtip/kvtip.h>

static void print_adapter(const kvtip_adapter *adapter) {
    printf("%s: %s", adapter->name, adapter->physical ? "a device" : "no device");
    if (adapter->transmit_speed != 0) {
        printf(", %" PRIu64 " Mbit/s", adapter->transmit_speed / 1000000);
    }
    if (adapter->counters != NULL) {
        printf(", received %" PRIu64 " bytes, sent %" PRIu64 " bytes", adapter->counters->received.bytes,
               adapter->counters->sent.bytes);
    }
    printf("\n");
}

int main(void) {
    const kvtip_adapter_options options = {.size = sizeof options, .up = 1, .details = 1};
    const kvtip_adapter_list *adapters;
    const uint32_t code = kvtip_adapters(&options, &adapters);
    if (code != 0) {
        fprintf(stderr, "cannot list the adapters: %s\n", kvtip_error_name(code));
        return 1;
    }
    for (size_t i = 0; i < adapters->count; ++i) {
        print_adapter(adapters->rows[i]);
    }
    if (adapters->missing & KVTIP_MISSING_COUNTERS) {
        printf("this system has no counters\n");
    }
    kvtip_free(adapters);
    return 0;
}
