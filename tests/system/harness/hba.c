/* A library of Fibre Channel adapters, under the name of the real one. $HBA says of which version it is and how many
 * adapters it has; the first shows three units and claims more than fit, any other does not open. */

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

struct entry {
    struct {
        char name[256];
        uint32_t bus, target, unit;
    } here;
    struct {
        uint32_t id;
        unsigned char node[8], port[8];
        uint64_t unit;
    } there;
};
struct mapping {
    uint32_t count;
    struct entry entries[1024];
};

static uint32_t word(int place) {
    return (uint32_t)(getenv("HBA")[place] - '0');
}

static struct entry entry(const char *name, uint32_t bus, uint32_t target, unsigned char unit) {
    struct entry made = {{"", bus, target, 0}, {0, {0}, {0x50, 6, 1, 0x60, 0x90, 0x20, 0x1e, 0x7a}, 0}};
    strcpy(made.here.name, name);
    memcpy(&made.there.unit, (unsigned char[8]){0, unit}, 8);
    return made;
}

uint32_t HBA_LoadLibrary(void) { return 0; }
uint32_t HBA_FreeLibrary(void) { return 0; }
uint32_t HBA_GetVersion(void) { return word(0); }
uint32_t HBA_GetNumberOfAdapters(void) { return word(2); }
uint32_t HBA_GetAdapterName(uint32_t index, char *name) { return sprintf(name, "%u", index) < 1; }
uint32_t HBA_OpenAdapter(char *name) { return *name == '0'; }
void HBA_CloseAdapter(uint32_t handle) { (void)handle; }
void HBA_RefreshInformation(uint32_t handle) { (void)handle; }
uint32_t HBA_GetAdapterPortAttributes(uint32_t handle, uint32_t port, void *attributes) {
    return (void)port, (void)attributes, handle;
}
uint32_t HBA_GetFcpTargetMapping(uint32_t handle, struct mapping *mapping) {
    mapping->entries[0] = entry("", UINT32_MAX, 1, 9);
    mapping->entries[1] = entry("/dev/cciss/c0d0", 9, 9, 3);
    for (int rest = 2; rest < 1024; ++rest)
        mapping->entries[rest] = entry("", 0, 0, 2);
    mapping->count = 1500;
    return handle != 1;
}
