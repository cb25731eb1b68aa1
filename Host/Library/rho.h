#ifndef RHO_H
#define RHO_H

/** @file
 * Encoder modules for programs in any language: find them, describe them, change their settings, encode. C++ programs
 * have owners and exceptions for the same in rho.hpp.
 *
 *     #include <rho.h>
 *
 *     rho_module* module = NULL;
 *     rho_compressor* compressor = NULL;
 *     rho_encoder* encoder = NULL;
 *     if (rho_module_load("PCMPlugin", &module) || rho_compressor_create(module, &compressor) ||
 *         rho_set(compressor, "SampleRate=48000") || rho_set(compressor, "Channels=5.1") ||
 *         rho_encoder_create(compressor, "MKV", &encoder) ||
 *         rho_encode(encoder, samples, size, write_packet, file) || rho_finish(encoder, write_packet, file)) {
 *       fprintf(stderr, "%s\n", rho_error_text());
 *     }
 *     rho_encoder_destroy(encoder);
 *     rho_compressor_destroy(compressor);
 *     rho_module_unload(module);
 *
 * Every function that can fail returns a rho_result and sets rho_error_text. A result is written through its pointer on
 * success only. A null pointer for a handle, text or result is RHO_WRONG_USE, unless its function says otherwise. No
 * C++ exception leaves the library.
 *
 * Handles may be destroyed in any order: a compressor keeps its module loaded, an encoder keeps its compressor. One
 * thread at a time uses the handles that belong to one compressor; different compressors may be used at once.
 *
 * Texts are UTF-8 with a zero byte at the end. Those that are returned through a char** are released with rho_free.
 */

/* NOLINTBEGIN(modernize-*): C as well as C++ */

#include <stddef.h>
#include <stdint.h>

/** Marks the functions that the library exports. */
#if defined(__GNUC__)
#define RHO_PUBLIC __attribute__((visibility("default")))
#else
#define RHO_PUBLIC
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** How a function ended. */
typedef enum rho_result {
  RHO_OK = 0,           /**< success */
  RHO_FAILED = 1,       /**< an error of the module, the system or a file */
  RHO_WRONG_USE = 2,    /**< an invalid argument, an unknown setting or a value that is not allowed */
  RHO_OUT_OF_MEMORY = 3 /**< there is not enough memory */
} rho_result;

/** A loaded module. */
typedef struct rho_module rho_module;
/** A compressor of a module, with its settings. */
typedef struct rho_compressor rho_compressor;
/** One run of a compressor, from the first sample to the last packet. */
typedef struct rho_encoder rho_encoder;

/** The error of the last function of this thread that failed; empty before the first failure. Valid until the next
 * failure in this thread. Texts of more than 1,000 bytes are truncated. */
RHO_PUBLIC const char* rho_error_text(void);

/** The version of the library: "1.0.0". The caller does not free it. */
RHO_PUBLIC const char* rho_version(void);

/** Frees a text that a function returned through a char**. Null is allowed. */
RHO_PUBLIC void rho_free(char* text);

/** @name Modules
 * `name` is the path of a library or a bundle if it has a slash. Without one it is looked up in the folders of
 * RHO_PLUGIN_PATH, in the user's ($XDG_DATA_HOME/rho/plugins or ~/.local/share/rho/plugins), beside this library
 * (bundles alone) and in the system's. */
/** @{ */

/** Finds a module and returns the path of the library to load. Loads nothing. */
RHO_PUBLIC rho_result rho_find_module(const char* name, char** path);

/** Lists all modules: a JSON array of objects with "name", "path", "hidden" (by another one of the same name in an
 * earlier folder), and either "description" or "error". Each is loaded in a child process and has the time limit, as in
 * rho_describe_module, one after the other. */
RHO_PUBLIC rho_result rho_list_modules(unsigned int timeout_milliseconds, char** json);

/** Describes a module and all its settings as JSON; docs/info.md lists the keys. The module is loaded in a child
 * process: one that crashes, ends its process or takes longer than the time limit is RHO_FAILED and does not hurt the
 * caller. The child is the program rho-module-helper; the environment variable RHO_MODULE_HELPER can name another. How
 * the child ended is lost, and the error text says so, if the caller ignores SIGCHLD or waits for all its children. */
RHO_PUBLIC rho_result rho_describe_module(const char* name, unsigned int timeout_milliseconds, char** json);

/** Loads a module into this process, where it can crash it. */
RHO_PUBLIC rho_result rho_module_load(const char* name, rho_module** module);

/** Unloads the module once its compressors are destroyed. Null is allowed. */
RHO_PUBLIC void rho_module_unload(rho_module* module);

/** @} */

/** @name Compressors and their settings
 * A setting is named by its preset label, behind those of the containers around it: "SampleRate", "Video/Bit Rate".
 * While an encoder uses the compressor, its settings can only be read. */
/** @{ */

/** Creates a compressor with the default values of its settings. */
RHO_PUBLIC rho_result rho_compressor_create(rho_module* module, rho_compressor** compressor);

/** Frees the compressor once its encoder is destroyed. Null is allowed. */
RHO_PUBLIC void rho_compressor_destroy(rho_compressor* compressor);

/** Describes the compressor and all its settings as JSON, as in rho_describe_module. */
RHO_PUBLIC rho_result rho_describe(rho_compressor* compressor, char** json);

/** Changes a setting: "NAME=VALUE". An empty value makes an optional setting unspecified. Settings that depend on it
 * follow: a data rate changes with the sample rate. */
RHO_PUBLIC rho_result rho_set(rho_compressor* compressor, const char* assignment);

/** Changes `count` settings at once, whose values may depend on each other in any order. If one of them is refused, none
 * is changed. */
RHO_PUBLIC rho_result rho_set_all(rho_compressor* compressor, const char* const* assignments, size_t count);

/** Changes a setting to a whole number. For bool, int, unsigned and, if it is exact, double settings. */
RHO_PUBLIC rho_result rho_set_integer(rho_compressor* compressor, const char* name, int64_t value);

/** Changes a double setting, or a bool, int or unsigned one to a number that is whole. */
RHO_PUBLIC rho_result rho_set_double(rho_compressor* compressor, const char* name, double value);

/** Changes a setting of any kind to the value that JSON has for it in presets (docs/presets.md): a text for an enum,
 * an array for an unsigned array, null for an optional setting that becomes unspecified. */
RHO_PUBLIC rho_result rho_set_json(rho_compressor* compressor, const char* name, const char* json);

/** The value of a setting as text, which rho_set takes. */
RHO_PUBLIC rho_result rho_get_text(rho_compressor* compressor, const char* name, char** text);

/** The value of a setting as JSON, which rho_set_json takes. */
RHO_PUBLIC rho_result rho_get_json(rho_compressor* compressor, const char* name, char** json);

/** The value of a bool, int or unsigned setting. */
RHO_PUBLIC rho_result rho_get_integer(rho_compressor* compressor, const char* name, int64_t* value);

/** The value of a double, bool, int or unsigned setting. */
RHO_PUBLIC rho_result rho_get_double(rho_compressor* compressor, const char* name, double* value);

/** Sets the packets per second; at least 1. A new compressor has 30. */
RHO_PUBLIC rho_result rho_set_frame_rate(rho_compressor* compressor, double frames_per_second);

/** Applies a preset file (docs/presets.md), its frame rate included. If a value is refused, nothing is changed. */
RHO_PUBLIC rho_result rho_load_preset(rho_compressor* compressor, const char* path);

/** The text of a preset file with the values of all settings that the functions above have set. RHO_WRONG_USE if
 * there are none. */
RHO_PUBLIC rho_result rho_preset(rho_compressor* compressor, char** json);

/** @} */

/** @name Encoding */
/** @{ */

/** The samples that an encoder takes: interleaved, in the machine's byte order, 24 bits in three bytes. */
typedef struct rho_format {
  unsigned int sample_rate;            /**< sample frames per second */
  unsigned int bits;                   /**< per sample */
  unsigned int channels;               /**< samples of a sample frame */
  unsigned int bytes_per_sample_frame; /**< bytes of one sample of each channel */
  uint64_t sample_frames_per_packet;   /**< the last packet may hold fewer */
  unsigned int packet_type;            /**< 24: linear PCM */
} rho_format;

/** A packet of a compressor's output. */
typedef struct rho_packet {
  const unsigned char* bytes; /**< valid during the call of the packet function */
  size_t size;                /**< number of bytes */
  uint64_t time;              /**< sample frames before it */
  uint64_t sample_frames;     /**< sample frames that it holds; 0 if the module does not tell */
} rho_packet;

/** Receives each packet; `context` is the caller's. A return value other than 0 ends the call with RHO_FAILED, and the
 * encoder can then only be destroyed. The function must neither destroy the encoder nor leave by an exception or
 * longjmp. */
typedef int (*rho_packet_function)(void* context, const rho_packet* packet);

/** Begins a run with the present values of the compressor's settings. `file_format` is the format of the file that the
 * packets go to, as a code of up to four characters: "MKV"; null for none. A compressor has one encoder at a time. */
RHO_PUBLIC rho_result rho_encoder_create(rho_compressor* compressor, const char* file_format, rho_encoder** encoder);

/** Ends the run, finished or not. Null is allowed. */
RHO_PUBLIC void rho_encoder_destroy(rho_encoder* encoder);

/** The format of the samples that the encoder takes. */
RHO_PUBLIC rho_result rho_encoder_format(const rho_encoder* encoder, rho_format* format);

/** Encodes `size` bytes, which are whole sample frames, and passes the packets that are complete to `function`. Checks
 * each answer of the module. `bytes` may be null if `size` is 0. After a failure the encoder can only be destroyed. */
RHO_PUBLIC rho_result rho_encode(rho_encoder* encoder, const void* bytes, size_t size, rho_packet_function function,
                                 void* context);

/** Encodes what is left, passes the last packets to `function` and ends the run. To be called once. */
RHO_PUBLIC rho_result rho_finish(rho_encoder* encoder, rho_packet_function function, void* context);

/** @} */

/* NOLINTEND(modernize-*) */

#ifdef __cplusplus
}
#endif

#endif
