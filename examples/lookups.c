/* Looks hosts up, all of them within a second, by default localhost: lookups [HOST...] */

#include <stdio.h>

#include <kvtip/kvtip.h>

static void print_host(const kvtip_resolved_host *host) {
    printf("%s, %u ms:", host->host, host->time);
    for (size_t i = 0; i < host->endpoint_count; ++i) {
        char address[KVTIP_ADDRESS_TEXT_SIZE];
        kvtip_format_address(&host->endpoints[i].address, address, sizeof address);
        printf(" %s", address);
    }
    if (host->code != 0) {
        printf(" %s", kvtip_error_name(host->code));
    }
    puts("");
}

int main(int argc, char **argv) {
    const char *const fallback[] = {"localhost"};
    const char *const *hosts = argc > 1 ? (const char *const *)argv + 1 : fallback;
    const size_t count = argc > 1 ? (size_t)argc - 1 : 1;
    const kvtip_resolve_options options = {.size = sizeof options, .timeout = 1000};
    const kvtip_resolved_host_list *list;
    const uint32_t code = kvtip_resolve_all(hosts, count, NULL, &options, &list);
    for (size_t i = 0; list != NULL && i < list->count; ++i) {
        print_host(list->rows[i]);
    }
    kvtip_free(list);
    if (code != 0) {
        fprintf(stderr, "cannot resolve: %s\n", kvtip_error_name(code));
    }
    return code == 0 ? 0 : 1;
}
