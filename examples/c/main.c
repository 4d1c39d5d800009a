/* A checkout in C: it registers flags, tells about its user, reads with and without a context, and hears of
 * impressions. It has no document, so its flags have their defaults until it overrides one. Run it with a
 * path to use the document there: `c-checkout flags.json`. */
#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>

#include <kiv/c.h>

/* Ends the program when a call has failed. */
static void check(kiv_status status, const char* what) {
    if (status != KIV_OK) {
        fprintf(stderr, "%s: %s: %s\n", what, kiv_status_name(status), kiv_error_text());
        exit(EXIT_FAILURE);
    }
}

static kiv_text text(const char* zero_ended) {
    kiv_text made = {zero_ended, SIZE_MAX};
    return made;
}

/* Prints what was read, and counts. */
static void heard(void* user, const kiv_impression* impression) {
    ++*(int*)user;
    printf("  read %.*s: %.*s\n", (int)impression->name.size, impression->name.data,
           (int)impression->value.size, impression->value.data);
}

/* A property that is computed each time an expression asks for it. */
static void cart_total(void* user, const char* flag, size_t flag_size, const kiv_context* context,
                       kiv_answer* answer) {
    const kiv_value total = {.kind = KIV_DOUBLE, .real = *(const double*)user};
    (void)flag, (void)flag_size, (void)context;
    kiv_answer_with(answer, &total);
}

static void register_flags(kiv_flag** express, kiv_flag** color) {
    const kiv_value colors[] = {{.kind = KIV_TEXT, .text = text("blue")},
                                {.kind = KIV_TEXT, .text = text("green")}};
    const kiv_declaration flags[] = {
        {.size = sizeof(kiv_declaration),
         .name = text("expressCheckout"),
         .default_value = {.kind = KIV_BOOL}},
        {.size = sizeof(kiv_declaration),
         .name = text("buttonColor"),
         .default_value = colors[0],
         .variations = colors,
         .variation_count = 2},
    };
    kiv_flag* handles[2];
    check(kiv_register("checkout", SIZE_MAX, flags, 2, handles), "register");
    *express = handles[0];
    *color = handles[1];
}

/* Reads a text of any length into memory that the caller frees. */
static char* read_text(const kiv_flag* flag, const kiv_context* context) {
    size_t size = 0;
    char* value = malloc(8);
    kiv_status status = value ? kiv_flag_read_text(flag, context, value, 8, &size) : KIV_OUT_OF_MEMORY;
    if (status == KIV_BUFFER_TOO_SMALL) {
        char* larger = realloc(value, size + 1);
        value = larger ? larger : value;
        status = larger ? kiv_take_text(value, size + 1, NULL) : KIV_OUT_OF_MEMORY;
    }
    check(status, "read");
    return value;
}

int main(int argc, char** argv) {
    static double total = 42.5;
    static int impressions = 0;
    const kiv_endpoints no_service = {.size = sizeof(kiv_endpoints)};
    const kiv_options options = {.size = sizeof(kiv_options),
                                 .configuration_path = argc > 1 ? text(argv[1]) : (kiv_text){NULL, 0},
                                 .endpoints = &no_service,
                                 .impression = heard,
                                 .impression_user = &impressions};
    const kiv_entry visitor[] = {{text("plan"), {.kind = KIV_TEXT, .text = text("pro")}}};
    kiv_flag* express = NULL;
    kiv_flag* color = NULL;
    kiv_context* context = NULL;
    int32_t is_express = 0;
    int64_t retries = 0;

    printf("kiv %s\n", kiv_version());
    register_flags(&express, &color);
    check(kiv_set_text_property("country", SIZE_MAX, "FR", SIZE_MAX), "set a property");
    check(kiv_set_computed_property("cartTotal", SIZE_MAX, KIV_DOUBLE, cart_total, &total, NULL),
          "set a property");
    check(kiv_setup("5e0bd1f2c3a4b5d6e7f80912", SIZE_MAX, &options), "set up");

    check(kiv_context_create(visitor, 1, &context), "make a context");
    check(kiv_flag_read_bool(express, context, &is_express), "read");
    check(kiv_read_int("payment.retries", SIZE_MAX, 3, NULL, &retries), "read");
    char* chosen = read_text(color, context);
    printf("%s checkout, a %s button, %" PRId64 " retries\n", is_express ? "express" : "plain", chosen,
           retries);
    free(chosen);

    check(kiv_override_set("checkout.buttonColor", SIZE_MAX, "very dark green", SIZE_MAX), "override");
    chosen = read_text(color, context);
    check(kiv_override_clear("checkout.buttonColor", SIZE_MAX), "take the override back");
    printf("with an override: a %s button\n", chosen);
    free(chosen);

    check(kiv_context_free(context), "free the context");
    printf("a freed context is refused: %s\n",
           kiv_status_name(kiv_flag_read_bool(express, context, &is_express)));
    check(kiv_shutdown(), "shut down");
    printf("%d impressions\n", impressions);
    return EXIT_SUCCESS;
}
