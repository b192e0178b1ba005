/* A plugin of the emulator qemu that counts the instructions between two calls of the system with
   unassigned numbers, and prints the count at the second one. Debian has no header of the plugin
   interface, whose version 1 is declared here. */
#include <stdint.h>
#include <stdio.h>

struct qemu_plugin_tb;
void qemu_plugin_register_vcpu_tb_trans_cb(uint64_t id,
                                           void (*translated)(uint64_t id,
                                                              struct qemu_plugin_tb *block));
void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb *block, int operation,
                                              void *counter, uint64_t summand);
size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb *block);
void qemu_plugin_register_vcpu_syscall_cb(uint64_t id,
                                          void (*called)(uint64_t id, unsigned cpu, int64_t number,
                                                         uint64_t, uint64_t, uint64_t, uint64_t,
                                                         uint64_t, uint64_t, uint64_t, uint64_t));

#define EXPORTED __attribute__((visibility("default")))

enum { add = 0, start_call = 5000, stop_call = 5001 };

EXPORTED int qemu_plugin_version = 1;

static uint64_t count;

static void count_block(uint64_t id, struct qemu_plugin_tb *block) {
    (void)id;
    qemu_plugin_register_vcpu_tb_exec_inline(block, add, &count, qemu_plugin_tb_n_insns(block));
}

static void start_or_stop(uint64_t id, unsigned cpu, int64_t number, uint64_t a, uint64_t b,
                          uint64_t c, uint64_t d, uint64_t e, uint64_t f, uint64_t g, uint64_t h) {
    (void)id, (void)cpu, (void)a, (void)b, (void)c, (void)d, (void)e, (void)f, (void)g, (void)h;
    if (number == start_call)
        count = 0;
    else if (number == stop_call)
        dprintf(1, " %llu", (unsigned long long)count);
}

EXPORTED int qemu_plugin_install(uint64_t id, const void *info, int argc, char **argv) {
    (void)info, (void)argc, (void)argv;
    qemu_plugin_register_vcpu_tb_trans_cb(id, count_block);
    qemu_plugin_register_vcpu_syscall_cb(id, start_or_stop);
    return 0;
}
