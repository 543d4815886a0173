/* Asks the DNS for the addresses of a name, or for the names of an address: dns [NAME or ADDRESS] */

#include <stdio.h>

#include <kvtip/kvtip.h>

static int query(const char *name, uint32_t type) {
    const kvtip_dns_record_list *records;
    const uint32_t code = kvtip_dns_query(name, type, NULL, &records);
    if (code != 0) {
        char message[KVTIP_MESSAGE_SIZE];
        kvtip_message(code, message, sizeof message);
        fprintf(stderr, "no answer: %s: %s\n", kvtip_error_name(code), message);
        return 1;
    }
    for (size_t i = 0; i < records->count; ++i) {
        const kvtip_dns_record *each = records->rows[i];
        char address[KVTIP_ADDRESS_TEXT_SIZE];
        kvtip_format_address(&each->address, address, sizeof address);
        printf("%s  %s  for %u s\n", each->name, each->type == KVTIP_DNS_PTR ? each->target : address,
               each->time_to_live);
    }
    kvtip_free(records);
    return 0;
}

int main(int argc, char **argv) {
    const char *name = argc > 1 ? argv[1] : "localhost";
    kvtip_address address;
    if (kvtip_parse_address(name, &address) == 0) {
        return query(name, KVTIP_DNS_PTR);
    }
    const int no_ipv6 = query(name, KVTIP_DNS_AAAA);
    const int no_ipv4 = query(name, KVTIP_DNS_A);
    return no_ipv6 && no_ipv4;
}
