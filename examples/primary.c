/* Shows how this host reaches the network: the adapter, its address, the router and the DNS servers. */

#include <stdio.h>

#include <kvtip/kvtip.h>

static void print_address(const char *label, const kvtip_address *address) {
    char text[KVTIP_ADDRESS_TEXT_SIZE];
    kvtip_format_address(address, text, sizeof text);
    printf("%s %s\n", label, text);
}

int main(void) {
    const kvtip_primary_adapter *way;
    const uint32_t code = kvtip_primary(NULL, &way); /* null: whatever is beyond the links of this host */
    if (code != 0) {
        char message[KVTIP_MESSAGE_SIZE];
        kvtip_message(code, message, sizeof message);
        fprintf(stderr, "no way there: %s\n", message);
        return 1;
    }
    printf("%s%s\n", way->adapter, way->kind == KVTIP_KIND_VIRTUAL ? ", which is virtual" : "");
    print_address("address", &way->address);
    if (way->next_hop.family != 0) {
        print_address("router", &way->next_hop);
    }
    for (size_t i = 0; i < way->dns_server_count; ++i) {
        print_address("DNS server", &way->dns_servers[i]);
    }
    kvtip_free(way);
    return 0;
}
