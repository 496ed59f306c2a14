// A plugin of qemu-arm: counts the instructions and system calls of costs.elf between its markers,
// and writes them into the file that is its argument `out`. Debian has no header of QEMU's for
// plugins, so what is needed of it is declared here.

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

typedef uint64_t Plugin;
struct TranslationBlock;
struct Instruction;

enum { NO_REGISTERS = 0, VCPUS = 64, CALLS = 512 };

typedef void (*Executed)(unsigned int vcpu, void* data);
typedef void (*Translated)(Plugin plugin, struct TranslationBlock* block);
typedef void (*Called)(Plugin plugin, unsigned int vcpu, int64_t number, uint64_t, uint64_t,
                       uint64_t, uint64_t, uint64_t, uint64_t, uint64_t, uint64_t);

size_t qemu_plugin_tb_n_insns(const struct TranslationBlock*);
struct Instruction* qemu_plugin_tb_get_insn(const struct TranslationBlock*, size_t);
const void* qemu_plugin_insn_data(const struct Instruction*);
size_t qemu_plugin_insn_size(const struct Instruction*);
void qemu_plugin_register_vcpu_insn_exec_cb(struct Instruction*, Executed, int, void*);
void qemu_plugin_register_vcpu_tb_trans_cb(Plugin, Translated);
void qemu_plugin_register_vcpu_syscall_cb(Plugin, Called);
void qemu_plugin_register_atexit_cb(Plugin, void (*)(Plugin, void*), void*);

__attribute__((visibility("default"))) int qemu_plugin_version = 1;

// What Meter.h marks the beginning and the end with: dbg #13 and dbg #14 in Thumb.
static const uint16_t BEGIN[2] = {0xf3af, 0x80fd};
static const uint16_t END[2] = {0xf3af, 0x80fe};

static const char* out;
static uint64_t instructions;
static uint64_t calls[CALLS];
static int isCounting[VCPUS];

static void begin(unsigned int vcpu, void* data)
{
    (void)data;
    isCounting[vcpu % VCPUS] = 1;
}

static void end(unsigned int vcpu, void* data)
{
    (void)data;
    isCounting[vcpu % VCPUS] = 0;
}

static void execute(unsigned int vcpu, void* data)
{
    (void)data;
    instructions += (uint64_t)isCounting[vcpu % VCPUS];
}

static int isMarker(const struct Instruction* instruction, const uint16_t* marker)
{
    return qemu_plugin_insn_size(instruction) == 4 &&
           memcmp(qemu_plugin_insn_data(instruction), marker, 4) == 0;
}

static void translate(Plugin plugin, struct TranslationBlock* block)
{
    (void)plugin;
    for (size_t i = 0; i < qemu_plugin_tb_n_insns(block); ++i) {
        struct Instruction* const instruction = qemu_plugin_tb_get_insn(block, i);
        const Executed executed = isMarker(instruction, BEGIN) ? begin
                                  : isMarker(instruction, END) ? end
                                                               : execute;
        qemu_plugin_register_vcpu_insn_exec_cb(instruction, executed, NO_REGISTERS, NULL);
    }
}

static void call(Plugin plugin, unsigned int vcpu, int64_t number, uint64_t a, uint64_t b,
                 uint64_t c, uint64_t d, uint64_t e, uint64_t f, uint64_t g, uint64_t h)
{
    (void)plugin, (void)a, (void)b, (void)c, (void)d, (void)e, (void)f, (void)g, (void)h;
    if (isCounting[vcpu % VCPUS] && number >= 0 && number < CALLS) {
        ++calls[number];
    }
}

static void tell(Plugin plugin, void* data)
{
    (void)plugin, (void)data;
    FILE* const file = fopen(out, "w");
    if (file == NULL) {
        abort();
    }
    fprintf(file, "instructions %llu\n", (unsigned long long)instructions);
    for (int number = 0; number < CALLS; ++number) {
        if (calls[number] > 0) {
            fprintf(file, "%d %llu\n", number, (unsigned long long)calls[number]);
        }
    }
    fclose(file);
}

__attribute__((visibility("default"))) int qemu_plugin_install(Plugin plugin, const void* info,
                                                               int count, char** arguments)
{
    (void)info;
    if (count != 1 || strncmp(arguments[0], "out=", 4) != 0) {
        return 1;
    }
    out = strdup(arguments[0] + 4);
    qemu_plugin_register_vcpu_tb_trans_cb(plugin, translate);
    qemu_plugin_register_vcpu_syscall_cb(plugin, call);
    qemu_plugin_register_atexit_cb(plugin, tell, NULL);
    return 0;
}
