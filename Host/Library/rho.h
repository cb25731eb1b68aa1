#ifndef RHO_H
#define RHO_H

/* Encoder modules for programs in any language: find them, describe them, change their settings, encode.
 *
 *   rho_module* module = NULL;
 *   rho_compressor* compressor = NULL;
 *   rho_encoder* encoder = NULL;
 *   if (rho_module_load("PCMPlugin", &module) || rho_compressor_create(module, &compressor) ||
 *       rho_set(compressor, "SampleRate=48000") || rho_set(compressor, "Channels=5.1") ||
 *       rho_encoder_create(compressor, "MKV", &encoder) ||
 *       rho_encode(encoder, samples, size, write_packet, file) || rho_finish(encoder, write_packet, file)) {
 *     fprintf(stderr, "%s\n", rho_error_text());
 *   }
 *   rho_encoder_destroy(encoder);
 *   rho_compressor_destroy(compressor);
 *   rho_module_unload(module);
 *
 * Every function that can fail returns a rho_result and sets rho_error_text. A result is written through its pointer on
 * success only. A null pointer for a handle, text or result is RHO_WRONG_USE, unless it says otherwise. No C++
 * exception leaves the library.
 *
 * Handles may be destroyed in any order: a compressor keeps its module loaded, an encoder keeps its compressor. One
 * thread at a time uses the handles that belong to one compressor; different compressors may be used at once.
 *
 * Texts are UTF-8 with a zero byte at the end. Those that are returned through a char** are released with rho_free.
 */

/* NOLINTBEGIN(modernize-*): C as well as C++ */

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define RHO_PUBLIC __attribute__((visibility("default")))
#else
#define RHO_PUBLIC
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef enum rho_result {
  RHO_OK = 0,
  RHO_FAILED = 1,       /* the module, the system or a file did not do what was asked */
  RHO_WRONG_USE = 2,    /* an argument that cannot be, a setting that does not exist, a value that is not allowed */
  RHO_OUT_OF_MEMORY = 3 /* nothing has changed */
} rho_result;

typedef struct rho_module rho_module;
typedef struct rho_compressor rho_compressor;
typedef struct rho_encoder rho_encoder;

/* Why the last function of this thread that failed did so; empty before the first one. Valid until the next one fails;
 * texts of more than 1,000 bytes are cut. */
RHO_PUBLIC const char* rho_error_text(void);

/* "1.0" */
RHO_PUBLIC const char* rho_version(void);

/* Releases a text. Null is allowed. */
RHO_PUBLIC void rho_free(char* text);

/* ---- Modules ----
 * `name` is the path of a library or a bundle if it has a slash. Without one it is looked up in the folders of
 * RHO_PLUGIN_PATH, in the user's ($XDG_DATA_HOME/rho/plugins or ~/.local/share/rho/plugins), beside this library
 * (bundles alone) and in the system's. */

/* The path of the library to load. */
RHO_PUBLIC rho_result rho_find_module(const char* name, char** path);

/* All modules: a JSON array of objects with "name", "path", "hidden" (by another one of the same name in an earlier
 * folder), and either "description" or "error". Each is loaded in a child process, as in rho_describe_module. */
RHO_PUBLIC rho_result rho_list_modules(unsigned int timeout_milliseconds, char** json);

/* A module and all its settings as JSON; docs/info.md lists the keys. The module is loaded in a child process: one that
 * crashes, hangs for longer than the time limit or ends its process is RHO_FAILED and does not hurt the caller. The
 * child is the program rho-module-helper, which RHO_MODULE_HELPER can name. */
RHO_PUBLIC rho_result rho_describe_module(const char* name, unsigned int timeout_milliseconds, char** json);

/* Loads a module into this process. */
RHO_PUBLIC rho_result rho_module_load(const char* name, rho_module** module);

/* Unloads the module once its compressors are destroyed. Null is allowed. */
RHO_PUBLIC void rho_module_unload(rho_module* module);

/* ---- Compressors and their settings ----
 * A setting is named by its preset label, behind those of the containers around it: "SampleRate", "Video/Bit Rate".
 * While an encoder uses the compressor, its settings can only be read. */

RHO_PUBLIC rho_result rho_compressor_create(rho_module* module, rho_compressor** compressor);

/* Null is allowed. */
RHO_PUBLIC void rho_compressor_destroy(rho_compressor* compressor);

/* The compressor and all its settings as JSON, as in rho_describe_module. */
RHO_PUBLIC rho_result rho_describe(rho_compressor* compressor, char** json);

/* Changes a setting: "NAME=VALUE". An empty value makes an optional setting unspecified. Other settings follow. */
RHO_PUBLIC rho_result rho_set(rho_compressor* compressor, const char* assignment);

/* Changes `count` settings at once, whose values may depend on each other in any order. */
RHO_PUBLIC rho_result rho_set_all(rho_compressor* compressor, const char* const* assignments, size_t count);

/* Changes a setting to a number, or to what a JSON value stands for. */
RHO_PUBLIC rho_result rho_set_integer(rho_compressor* compressor, const char* name, int64_t value);
RHO_PUBLIC rho_result rho_set_double(rho_compressor* compressor, const char* name, double value);
RHO_PUBLIC rho_result rho_set_json(rho_compressor* compressor, const char* name, const char* json);

/* The value of a setting. rho_get_integer is for bool, int and unsigned settings; rho_get_double also for double. */
RHO_PUBLIC rho_result rho_get_text(rho_compressor* compressor, const char* name, char** text);
RHO_PUBLIC rho_result rho_get_json(rho_compressor* compressor, const char* name, char** json);
RHO_PUBLIC rho_result rho_get_integer(rho_compressor* compressor, const char* name, int64_t* value);
RHO_PUBLIC rho_result rho_get_double(rho_compressor* compressor, const char* name, double* value);

/* Packets per second, 30 at first. At least 1. */
RHO_PUBLIC rho_result rho_set_frame_rate(rho_compressor* compressor, double frames_per_second);

/* Applies a preset file, its frame rate included. */
RHO_PUBLIC rho_result rho_load_preset(rho_compressor* compressor, const char* path);

/* The text of a preset file with all that the functions above have set. RHO_WRONG_USE if that is nothing. */
RHO_PUBLIC rho_result rho_preset(rho_compressor* compressor, char** json);

/* ---- Encoding ---- */

/* How the samples are to be handed over: interleaved, in the machine's byte order, 24 bits in three bytes. */
typedef struct rho_format {
  unsigned int sample_rate; /* sample frames per second */
  unsigned int bits;        /* per sample */
  unsigned int channels;
  unsigned int bytes_per_sample_frame;
  uint64_t sample_frames_per_packet; /* the last packet may hold fewer */
  unsigned int packet_type;          /* 24: linear PCM */
} rho_format;

typedef struct rho_packet {
  const unsigned char* bytes; /* valid during the call */
  size_t size;
  uint64_t time;          /* sample frames before it */
  uint64_t sample_frames; /* sample frames that it holds; 0 if the module does not tell */
} rho_packet;

/* Receives each packet; `context` is what the caller has handed over. Anything other than 0 ends the call with
 * RHO_FAILED, and the encoder is then of no more use. */
typedef int (*rho_packet_function)(void* context, const rho_packet* packet);

/* Begins a run with the compressor's settings as they are. `file_format` is the format of the file that the packets go
 * to, as a code of up to four characters: "MKV"; null for none. A compressor serves one encoder at a time. */
RHO_PUBLIC rho_result rho_encoder_create(rho_compressor* compressor, const char* file_format, rho_encoder** encoder);

/* Ends the run, finished or not. Null is allowed. */
RHO_PUBLIC void rho_encoder_destroy(rho_encoder* encoder);

RHO_PUBLIC rho_result rho_encoder_format(const rho_encoder* encoder, rho_format* format);

/* Encodes `size` bytes, which are whole sample frames, and hands over the packets that are complete. The order of the
 * calls into the module and each of its answers are checked. `bytes` may be null if `size` is 0. After a failure the
 * encoder can only be destroyed. */
RHO_PUBLIC rho_result rho_encode(rho_encoder* encoder, const void* bytes, size_t size, rho_packet_function function,
                                 void* context);

/* Encodes what is left, hands over the last packets and ends the run. To be called once. */
RHO_PUBLIC rho_result rho_finish(rho_encoder* encoder, rho_packet_function function, void* context);

/* NOLINTEND(modernize-*) */

#ifdef __cplusplus
}
#endif

#endif
