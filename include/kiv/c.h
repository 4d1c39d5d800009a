#pragma once

/// The library for C, and for languages that call C: all functions begin with `kiv_`. docs/c.md is the guide.
///
/// Texts are UTF-8. A text that is passed is a pointer and a size in bytes; the size SIZE_MAX stands for a
/// text that a zero byte ends. The library copies what it keeps: nothing that is passed has to outlive the
/// call, except user pointers. "Optional" parameters may be null; every other pointer may not.
///
/// Functions return a `kiv_status`. When that is not KIV_OK, `kiv_error_text` says why, and the call has
/// changed nothing but what its comment says. Every function may be called from any thread and inside every
/// callback. None waits for the network. Structs have the same layout in all versions of one major number;
/// new members are added at the end of a struct that begins with its size. In these structs a member that is
/// zero is not set.

#include <stddef.h>
#include <stdint.h>

#if defined(KIV_SHARED_LIBRARY)
#define KIV_C_API __attribute__((visibility("default")))
#else
#define KIV_C_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/// How a call ended: one of the numbers below.
typedef int32_t kiv_status;
enum {
    KIV_OK = 0,
    KIV_INVALID_ARGUMENT = 1,  ///< a null pointer, a number out of range, a value of another kind
    KIV_INVALID_TEXT = 2,      ///< a text that is not UTF-8
    KIV_INVALID_SIZE = 3,      ///< a struct whose `size` this library does not know
    KIV_INVALID_HANDLE = 4,    ///< a handle that the library did not give, or that is not valid any more
    KIV_INVALID_KEY = 5,       ///< a key that is neither 24 hexadecimal digits nor a UUID
    KIV_INVALID_NAMESPACE = 6, ///< a namespace that is in use
    KIV_NOT_SET_UP = 7,        ///< the call needs a setup before it
    KIV_NOT_FOUND = 8,         ///< there is nothing of that name
    KIV_BUFFER_TOO_SMALL = 9,  ///< the text does not fit the buffer: `kiv_take_text` gives it
    KIV_UNAVAILABLE = 10,      ///< this build or this machine cannot do that
    KIV_OUT_OF_MEMORY = 11,
    KIV_INTERNAL_ERROR = 12 ///< a fault of the library; the text says which
};

/// What kind a value is, or a property, or a flag.
typedef int32_t kiv_kind;
enum {
    KIV_NONE = 0, ///< no value
    KIV_TEXT = 1,
    KIV_BOOL = 2,
    KIV_INT = 3,
    KIV_DOUBLE = 4,
    KIV_DATE = 5,  ///< microseconds since 1970-01-01 UTC
    KIV_SEMVER = 6 ///< a text that is a version; for properties only
};

/// How long a flag keeps the value of a read (docs/freezing.md has what the levels mean).
typedef int32_t kiv_freeze;
enum {
    KIV_FREEZE_DEFAULT = 0, ///< of a flag: the level of the setup; of a setup: KIV_FREEZE_NEVER
    KIV_FREEZE_FOREVER = 1,
    KIV_FREEZE_UNTIL_UNFREEZE = 2,
    KIV_FREEZE_UNTIL_FOREGROUND = 3,
    KIV_FREEZE_NEVER = 4
};

/// Handles. They are numbers of the library's own, to be compared and passed back, and point to nothing. A
/// handle that is not valid any more is refused with KIV_INVALID_HANDLE; it never becomes another's.
typedef struct kiv_flag kiv_flag;
typedef struct kiv_context kiv_context;
typedef struct kiv_answer kiv_answer;

/// A text inside a struct. Null `data` means that there is none; an empty text has another pointer.
typedef struct kiv_text {
    const char* data;
    size_t size; ///< bytes; SIZE_MAX when a zero byte ends the text
} kiv_text;

/// A value. `kind` says which member counts; the others are ignored.
typedef struct kiv_value {
    kiv_kind kind;
    int32_t boolean; ///< KIV_BOOL: zero is false
    int64_t integer; ///< KIV_INT and KIV_DATE
    double real;     ///< KIV_DOUBLE
    kiv_text text;   ///< KIV_TEXT
} kiv_value;

/// A value with its name, for contexts.
typedef struct kiv_entry {
    kiv_text name;
    kiv_value value;
} kiv_entry;

/// Callbacks. Each gets the user pointer that was passed with it, and may be called on several threads at
/// once. What it gets by pointer is valid until it returns. It must not leave by `longjmp`. A callback in C++
/// may throw, and one in another language calls `kiv_callback_failed`: both go to the error handler.

/// Called once for each user pointer, when the library needs it no more: no callback with that pointer runs
/// then or later. Called on any thread, or by the very call that passes the pointer. It must not throw or end
/// its thread. A call that fails has not taken the pointer.
typedef void (*kiv_destroy_function)(void* user);

/// Computes a value with `kiv_answer_with`, on the thread that reads a flag. For a property, `name` is the
/// flag that is being evaluated; for the rule it is the property that is wanted. `context` has the values of
/// the read. A callback that does not answer gives no value; a boolean, integer or double property fails
/// then.
typedef void (*kiv_compute_function)(void* user, const char* name, size_t name_size,
                                     const kiv_context* context, kiv_answer* answer);

/// The result of a fetch.
typedef struct kiv_fetch_result {
    size_t size;
    int32_t source;      ///< 1: the shipped document; 2: the stored one; 3: the network; 5: an error
    int32_t has_changes; ///< 1 when the document differs from the one that was stored before
    int32_t has_date;    ///< 1 when the document says when it was signed
    int64_t date;        ///< when: microseconds since 1970-01-01 UTC
    kiv_text error;      ///< the name of the error; none when the fetch succeeded
} kiv_fetch_result;
/// Called after each fetch on the thread `kiv-work`, and for a stored or shipped document by `kiv_setup`.
typedef void (*kiv_fetched_function)(void* user, const kiv_fetch_result* result);

/// The value that a read of a flag gave.
typedef struct kiv_impression {
    size_t size;
    int32_t targeting; ///< 1 when the flag had an experiment
    kiv_text name;
    kiv_text value;
    const kiv_context*
        context; ///< the values of the read, the global ones among them; null when there are none
} kiv_impression;
/// Called for each read that evaluates, on the thread that reads.
typedef void (*kiv_impression_function)(void* user, const kiv_impression* impression);

/// Called when another callback has failed, on its thread. `source`: 0 the rule, 1 the fetched handler, 2 the
/// impression handler, 3 a computed property.
typedef void (*kiv_error_function)(void* user, uint32_t source, const char* name, size_t name_size,
                                   const char* reason, size_t reason_size);

/// Receives each line that the library logs, without a line break, on the thread that logs.
typedef void (*kiv_log_function)(void* user, const char* line, size_t line_size);

/// The URLs of a self-managed deployment. Requests to an endpoint that is not set are not made.
typedef struct kiv_endpoints {
    size_t size; ///< sizeof(kiv_endpoints)
    kiv_text config_api;
    kiv_text config_cdn;
    kiv_text state_api;
    kiv_text state_cdn;
    kiv_text analytics;
    kiv_text push;
} kiv_endpoints;

/// The options of a setup.
typedef struct kiv_options {
    size_t size;                            ///< sizeof(kiv_options)
    int32_t verbose;                        ///< 1 turns the debug log on
    int32_t disable_signature_verification; ///< 1 accepts documents without a valid signature
    kiv_freeze default_freeze;              ///< the level of flags that were declared without one
    uint32_t silent_file_count;
    const kiv_text* silent_files;   ///< source units ("KIVCore.cpp") whose debug lines are left out
    kiv_text signing_certificate;   ///< base64, on one line, of a DER certificate; replaces the built-in one
    kiv_text configuration_path;    ///< a document shipped with the application
    const kiv_endpoints* endpoints; ///< null: the built-in endpoints
    kiv_fetched_function fetched;
    void* fetched_user;
    kiv_destroy_function fetched_destroy;
    kiv_impression_function impression;
    void* impression_user;
    kiv_destroy_function impression_destroy;
    kiv_compute_function rule; ///< gives the values of properties that are not registered
    void* rule_user;
    kiv_destroy_function rule_destroy;
} kiv_options;

/// What the library knows of device and application; it detects what is not set.
typedef struct kiv_host {
    size_t size; ///< sizeof(kiv_host)
    kiv_text bundle_identifier;
    kiv_text short_version;
    kiv_text version;
    kiv_text resource_directory;
    kiv_text library_directory; ///< below it the library keeps all its files; none when the text is empty
    kiv_text home_directory;
    kiv_text device_name;
    kiv_text system_name;
    kiv_text system_version;
    kiv_text model;
    kiv_text vendor_identifier;
    kiv_text locale;
    kiv_text idiom;
    kiv_text ca_file;
    kiv_text proxy;
    int32_t screen_width;
    int32_t screen_height;
    kiv_text encryption_password; ///< set all three to encrypt the files of impressions, or none
    kiv_text encryption_salt;     ///< bytes
    kiv_text encryption_iv;       ///< 16 bytes
    int32_t analytics_log;        ///< 1 also logs the way of impressions
    kiv_log_function log;         ///< null: lines go to standard error
    void* log_user;
    kiv_destroy_function log_destroy;
} kiv_host;

/// A flag to register. The kind of its default is its kind: KIV_BOOL, KIV_TEXT, KIV_INT (32 bits) or
/// KIV_DOUBLE. The variations are of the same kind, and a KIV_BOOL has none of its own.
typedef struct kiv_declaration {
    size_t size; ///< sizeof(kiv_declaration)
    kiv_text name;
    kiv_value default_value;
    const kiv_value* variations;
    uint32_t variation_count;
    kiv_freeze freeze;
} kiv_declaration;

/// The version of the library, for example "5.0.16", and the name of a status, for example
/// "KIV_INVALID_TEXT". Both texts end with a zero byte and are never freed.
KIV_C_API const char* kiv_version(void);
KIV_C_API const char* kiv_status_name(kiv_status status);

/// What was wrong with the last call of this thread that failed; empty before. The text ends with a zero byte
/// and is valid until the next call of this thread that fails.
KIV_C_API const char* kiv_error_text(void);

// Functions that give a text write it to `buffer` with a zero byte behind it, and its size, without that
// byte, to `size`, which is optional. `buffer` is optional when `capacity` is 0. When the text does not fit,
// `buffer` stays as it is, `size` gets the text's size and the result is KIV_BUFFER_TOO_SMALL.

/// The text that the last KIV_BUFFER_TOO_SMALL of this thread was about: the flag is not read again. Once it
/// is given, or none is kept, KIV_NOT_FOUND.
KIV_C_API kiv_status kiv_take_text(char* buffer, size_t capacity, size_t* size);

/// Inside a callback: the callback counts as one that has thrown, with `reason`, when it returns. Outside
/// every callback: KIV_INVALID_ARGUMENT.
KIV_C_API kiv_status kiv_callback_failed(const char* reason, size_t reason_size);

/// Replaces the host. To be called before every other function that uses the library.
KIV_C_API kiv_status kiv_configure_host(const kiv_host* host);

/// Sets the library up for a key. `options` are optional. A stored or shipped document is applied, and
/// `fetched` called for it, before this returns. A key is set up once per process: a further setup changes
/// nothing, and destroys the user pointers. After KIV_INVALID_KEY `kiv_state` is 4.
KIV_C_API kiv_status kiv_setup(const char* key, size_t key_size, const kiv_options* options);

/// 0: idle; 1: setting up; 2: set up; 3: shutting down; 4: the last setup failed.
KIV_C_API uint32_t kiv_state(void);

/// The key of the last setup or switch; KIV_NOT_FOUND before.
KIV_C_API kiv_status kiv_current_key(char* buffer, size_t capacity, size_t* size);
/// Makes the key the one of the next setup, also in a later process.
KIV_C_API kiv_status kiv_switch_key(const char* key, size_t key_size);

/// Stops the library when it is set up; else does nothing. Reads go on to work. Waits 100 milliseconds at
/// most, for impressions that are to be sent.
KIV_C_API kiv_status kiv_shutdown(void);
/// Makes the library whole in a child after a fork (docs/threads.md); does nothing elsewhere.
KIV_C_API kiv_status kiv_resume_after_fork(void);

/// Starts a fetch and returns at once. KIV_NOT_SET_UP before setup.
KIV_C_API kiv_status kiv_fetch(void);
/// To be called when the application has returned to the foreground: thaws flags, and starts a fetch.
KIV_C_API kiv_status kiv_will_enter_foreground(void);

/// Sets the handler of what callbacks throw; a null function removes it.
KIV_C_API kiv_status kiv_set_error_handler(kiv_error_function function, void* user,
                                           kiv_destroy_function destroy);

/// Set a property for expressions. A property of the same name is replaced.
KIV_C_API kiv_status kiv_set_text_property(const char* name, size_t name_size, const char* value,
                                           size_t value_size);
KIV_C_API kiv_status kiv_set_semver_property(const char* name, size_t name_size, const char* value,
                                             size_t value_size);
KIV_C_API kiv_status kiv_set_bool_property(const char* name, size_t name_size, int32_t value);
KIV_C_API kiv_status kiv_set_int_property(const char* name, size_t name_size, int32_t value);
KIV_C_API kiv_status kiv_set_double_property(const char* name, size_t name_size, double value);
KIV_C_API kiv_status kiv_set_date_property(const char* name, size_t name_size, int64_t microseconds);
/// Sets a property that `function` computes each time an expression asks for it. `kind` is any but KIV_NONE.
KIV_C_API kiv_status kiv_set_computed_property(const char* name, size_t name_size, kiv_kind kind,
                                               kiv_compute_function function, void* user,
                                               kiv_destroy_function destroy);
/// Inside a `kiv_compute_function`, on its thread: answers with a value of the property's kind; a later
/// answer replaces it. A KIV_DOUBLE takes a KIV_INT too, a KIV_SEMVER a KIV_TEXT, a KIV_INT 32 bits; the rule
/// takes all kinds, and dates are `undefined` there. KIV_NONE takes the answer back.
KIV_C_API kiv_status kiv_answer_with(kiv_answer* answer, const kiv_value* value);

/// Makes a context of `count` values; when a name comes twice, its last value counts. It never changes, and
/// any thread may use it. The caller frees it. Freeing it is safe while other threads read with it.
KIV_C_API kiv_status kiv_context_create(const kiv_entry* entries, size_t count, kiv_context** context);
KIV_C_API kiv_status kiv_context_free(kiv_context* context);
/// A value of a context. A KIV_TEXT goes to `buffer`, and `value->text` has `buffer` and the text's size.
/// KIV_NOT_FOUND when the context lacks the name. A value that is no text, boolean or number is KIV_NONE.
KIV_C_API kiv_status kiv_context_get(const kiv_context* context, const char* name, size_t name_size,
                                     kiv_value* value, char* buffer, size_t capacity);
/// Sets values for every read of the current key; a global value wins over one of the read's own context.
/// Null removes them. The context may be freed afterwards. KIV_NOT_SET_UP before setup.
KIV_C_API kiv_status kiv_set_global_context(const kiv_context* context);

/// Registers `count` flags under a namespace, which may be empty. A namespace is used once per process.
/// `flags` is optional: room for `count` handles, in the order of the declarations. The flags live as long as
/// the process; their handles too, unless they are freed.
KIV_C_API kiv_status kiv_register(const char* name_space, size_t name_space_size,
                                  const kiv_declaration* declarations, size_t count, kiv_flag** flags);
/// A handle for a flag by its full name, which the caller frees. KIV_NOT_FOUND when nobody has registered it
/// and nobody has read it by name.
KIV_C_API kiv_status kiv_flag_find(const char* name, size_t name_size, kiv_flag** flag);
/// Frees a handle; the flag stays.
KIV_C_API kiv_status kiv_flag_free(kiv_flag* flag);

/// Read a flag by its handle. `context` is optional. Reads run callbacks: computed properties, the rule, the
/// impression handler. `kiv_flag_read_bool` gives 1 or 0.
KIV_C_API kiv_status kiv_flag_read_bool(const kiv_flag* flag, const kiv_context* context, int32_t* value);
KIV_C_API kiv_status kiv_flag_read_int(const kiv_flag* flag, const kiv_context* context, int64_t* value);
KIV_C_API kiv_status kiv_flag_read_double(const kiv_flag* flag, const kiv_context* context, double* value);
KIV_C_API kiv_status kiv_flag_read_text(const kiv_flag* flag, const kiv_context* context, char* buffer,
                                        size_t capacity, size_t* size);
/// The value without an impression and without freezing; `original` without overrides too.
KIV_C_API kiv_status kiv_flag_peek(const kiv_flag* flag, char* buffer, size_t capacity, size_t* size);
KIV_C_API kiv_status kiv_flag_original(const kiv_flag* flag, char* buffer, size_t capacity, size_t* size);
/// 1 while the flag is frozen, else 0.
KIV_C_API kiv_status kiv_flag_is_frozen(const kiv_flag* flag, int32_t* value);

/// Read a flag by its full name; the first read of a name makes the flag. `context` is optional. A read that
/// fails gives the default, whatever the status, when `value` is not null; a text that fails gives nothing.
KIV_C_API kiv_status kiv_read_bool(const char* name, size_t name_size, int32_t default_value,
                                   const kiv_context* context, int32_t* value);
KIV_C_API kiv_status kiv_read_int(const char* name, size_t name_size, int32_t default_value,
                                  const kiv_context* context, int64_t* value);
KIV_C_API kiv_status kiv_read_double(const char* name, size_t name_size, double default_value,
                                     const kiv_context* context, double* value);
KIV_C_API kiv_status kiv_read_text(const char* name, size_t name_size, const char* default_value,
                                   size_t default_size, const kiv_context* context, char* buffer,
                                   size_t capacity, size_t* size);
/// `kiv_flag_peek` by full name. KIV_NOT_FOUND when there is no such flag.
KIV_C_API kiv_status kiv_peek(const char* name, size_t name_size, char* buffer, size_t capacity,
                              size_t* size);

/// Thaw the flags of KIV_FREEZE_UNTIL_UNFREEZE and above: all of them, or those of one namespace.
KIV_C_API kiv_status kiv_unfreeze(void);
KIV_C_API kiv_status kiv_unfreeze_namespace(const char* name_space, size_t name_space_size);

/// Values in place of the flags' own, by full flag name; kept on disk. KIV_NOT_SET_UP before setup.
KIV_C_API kiv_status kiv_override_set(const char* name, size_t name_size, const char* value,
                                      size_t value_size);
/// KIV_NOT_FOUND when the flag has no override.
KIV_C_API kiv_status kiv_override_get(const char* name, size_t name_size, char* buffer, size_t capacity,
                                      size_t* size);
KIV_C_API kiv_status kiv_override_clear(const char* name, size_t name_size);
KIV_C_API kiv_status kiv_overrides_clear(void);

/// Presents the flags screen in a page of this machine and gives its address; the same address while it is
/// presented. Whoever has the address can see and override all flags. KIV_NOT_SET_UP before setup,
/// KIV_UNAVAILABLE when this build has no page or it cannot be served.
KIV_C_API kiv_status kiv_screen_present(char* buffer, size_t capacity, size_t* size);
/// Ends the page; shutdown does too.
KIV_C_API kiv_status kiv_screen_dismiss(void);

#ifdef __cplusplus
}
#endif
