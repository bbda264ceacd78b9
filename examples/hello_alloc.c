/*
 * A first program against libtevra_util: allocate through the library,
 * collect errors in a context and keep items in an array list.
 *
 *   cc hello_alloc.c $(pkg-config --cflags --libs tevra_util)
 */
#include <stdio.h>
#include <string.h>

#include <tevra.h>

static void free_text(void *item) { tevra_free(item); }

static char *copy_text(const char *text) {
    size_t n = strlen(text) + 1;
    char *copy = tevra_malloc((long)n, "hello_alloc", __LINE__);
    if (copy != NULL)
        memcpy(copy, text, n);
    return copy;
}

int main(void) {
    printf("%s\n", tevra_util_version());

    TEVRA_ArrayList *list = tevra_arraylist_new(NULL, free_text);
    if (list == NULL)
        return 1;
    const char *words[] = {"streams", "strings", "times"};
    for (int i = 0; i < 3; ++i)
        tevra_arraylist_pushback(list, copy_text(words[i]));
    for (int i = 0; i < tevra_arraylist_count(list); ++i)
        printf("item %d: %s\n", i, (const char *)tevra_arraylist_getitemref(list, i));
    tevra_arraylist_free(list);

    TEVRA_ErrCtx *ctx = tevra_err_ctx_new();
    tevra_err_ctx_put(ctx, "hello_alloc", __LINE__, TEVRA_ERR_BAD_LENGTH,
                      tevra_igetGeneralError(TEVRA_ERR_BAD_LENGTH));
    unsigned int code = 0;
    tevra_err_ctx_geterrcode(ctx, &code);
    printf("newest error: 0X%08X\n", code);
    tevra_err_ctx_free(ctx);
    return code == TEVRA_ERR_BAD_LENGTH ? 0 : 1;
}
