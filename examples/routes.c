/* Lists the routes of this host, and counts the default ones. */

#include <stdio.h>

#include <kvtip/kvtip.h>

int main(void) {
    const kvtip_route_list *table;
    const uint32_t code = kvtip_routes(NULL, &table);
    if (code != 0) {
        char message[KVTIP_MESSAGE_SIZE];
        kvtip_message(code, message, sizeof message);
        fprintf(stderr, "cannot list the routes: %s\n", message);
        return 1;
    }
    unsigned defaults = 0;
    for (size_t i = 0; i < table->count; ++i) {
        const kvtip_route_entry *each = table->rows[i];
        char network[KVTIP_NETWORK_TEXT_SIZE], router[KVTIP_ADDRESS_TEXT_SIZE];
        kvtip_format_network(&each->network, network, sizeof network);
        kvtip_format_address(&each->next_hop, router, sizeof router);
        printf("%-24s%s%s, through %s\n", network, each->on_link ? "on the link" : "by router ", router,
               each->adapter);
        defaults += each->network.prefix_length == 0;
    }
    printf("%u routes, default routes: %u\n", (unsigned)table->count, defaults);
    kvtip_free(table);
    return 0;
}
