/* Lists the mail servers of a domain, by default of localhost, with their priorities. */

#include <stdio.h>

#include <kvtip/kvtip.h>

int main(int argc, char **argv) {
    const kvtip_dns_record_list *servers;
    const uint32_t code = kvtip_dns_query(argc > 1 ? argv[1] : "localhost", KVTIP_DNS_MX, NULL, &servers);
    if (code != 0) {
        char message[KVTIP_MESSAGE_SIZE];
        kvtip_message(code, message, sizeof message);
        printf("no answer: %s: %s\n", kvtip_error_name(code), message);
        return 1;
    }
    for (size_t i = 0; i < servers->count; ++i) {
        printf("%u %s\n", servers->rows[i]->priority, servers->rows[i]->target);
    }
    kvtip_free(servers);
    return 0;
}
