/* Lists the adapters that are up, with their hardware addresses, addresses and gateways. */

#include <stdio.h>

#include <kvtip/kvtip.h>

static void print_adapter(const kvtip_adapter *adapter) {
    char mac[KVTIP_MAC_TEXT_SIZE], text[KVTIP_ADDRESS_TEXT_SIZE];
    printf("%s", adapter->name);
    if (adapter->mac.length != 0) {
        kvtip_format_mac(&adapter->mac, mac, sizeof mac);
        printf("  %s", mac);
    }
    printf("\n");
    for (size_t i = 0; i < adapter->addresses.count; ++i) {
        const kvtip_adapter_address *local = adapter->addresses.rows[i];
        kvtip_format_address(&local->address, text, sizeof text);
        printf("  %s", text);
        if (local->prefix_length != KVTIP_UNKNOWN_PREFIX) {
            printf("/%u", local->prefix_length);
        }
        printf("\n");
    }
    for (size_t i = 0; i < adapter->gateway_count; ++i) {
        kvtip_format_address(&adapter->gateways[i], text, sizeof text);
        printf("  gateway %s\n", text);
    }
}

int main(void) {
    const kvtip_adapter_options options = {.size = sizeof options, .up = 1};
    const kvtip_adapter_list *adapters;
    const uint32_t code = kvtip_adapters(&options, &adapters);
    if (code != 0) {
        char message[KVTIP_MESSAGE_SIZE];
        kvtip_message(code, message, sizeof message);
        fprintf(stderr, "cannot list the adapters: %s\n", message);
        return 1;
    }
    for (size_t i = 0; i < adapters->count; ++i) {
        print_adapter(adapters->rows[i]);
    }
    kvtip_free(adapters);
    return 0;
}
