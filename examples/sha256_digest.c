/*
 * Hashing through a digest stream. libtevra_util has no hash algorithm of its
 * own: the caller hands it a TEVRA_DigestMethod. This one wraps OpenSSL's
 * SHA-256 (EVP interface). The program prints the SHA-256 of each file named
 * on the command line, or of the string "abc" when there is none.
 *
 *   cc sha256_digest.c $(pkg-config --cflags --libs tevra_util) -lcrypto
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <openssl/evp.h>
#include <tevra.h>

/*
 * The digest context. The stream's TEVRA_STREAM_CTRL_GET_MD finishes the
 * digest by passing the context itself as the output and then copies the
 * digest from the start of the context, so `result` comes first and final()
 * stores the digest there as well as at its output.
 */
typedef struct Sha256Context {
    unsigned char result[EVP_MAX_MD_SIZE];
    EVP_MD_CTX *md;
} Sha256Context;

static void *sha256_new(void) {
    Sha256Context *c = calloc(1, sizeof *c);
    if (c == NULL)
        return NULL;
    c->md = EVP_MD_CTX_new();
    if (c->md == NULL) {
        free(c);
        return NULL;
    }
    return c;
}

static void sha256_free(void *p) {
    Sha256Context *c = p;
    EVP_MD_CTX_free(c->md);
    free(c);
}

static int sha256_length(void) {
    return EVP_MD_size(EVP_sha256());
}
static unsigned int sha256_algorithm(void) {
    return 672; /* OpenSSL's NID_sha256 */
}
static int sha256_blocksize(void) {
    return EVP_MD_block_size(EVP_sha256());
}

static int sha256_init(void *p) {
    return EVP_DigestInit_ex(((Sha256Context *)p)->md, EVP_sha256(), NULL);
}

static int sha256_update(void *p, const unsigned char *data, long length) {
    return EVP_DigestUpdate(((Sha256Context *)p)->md, data, (size_t)length);
}

static int sha256_final(void *p, unsigned char *out) {
    Sha256Context *c = p;
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int n = 0;
    if (EVP_DigestFinal_ex(c->md, digest, &n) != 1)
        return 0;
    memcpy(c->result, digest, n);
    memmove(out, digest, n); /* out may be the context itself */
    return 1;
}

static void *sha256_dup(void *p) {
    Sha256Context *c = sha256_new();
    if (c != NULL && EVP_MD_CTX_copy_ex(c->md, ((Sha256Context *)p)->md) != 1) {
        sha256_free(c);
        return NULL;
    }
    return c;
}

static const TEVRA_DigestMethod kSha256 = {
    sha256_new,    sha256_free,  sha256_length,    sha256_algorithm, sha256_init,
    sha256_update, sha256_final, sha256_blocksize, sha256_dup,
};

/*
 * Finishes the digest of a digest stream, prints it as hex after name and
 * copies it to out (32 bytes) when out is not NULL. 1 on success.
 */
static int print_digest(TEVRA_Stream *md, const char *name, unsigned char *out, TEVRA_ErrCtx *ctx) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned char *text = NULL;
    long length = 0, text_length = 0;
    if (tevra_stream_ctrl(md, TEVRA_STREAM_CTRL_GET_MD_LENGTH, &length, ctx) != 1 ||
        tevra_stream_ctrl(md, TEVRA_STREAM_CTRL_GET_MD, digest, ctx) != 1 ||
        tevra_hexencode(0, digest, length, &text, &text_length) != 1)
        return 0;
    printf("%s  %s\n", (char *)text, name);
    tevra_free(text);
    if (out != NULL)
        memcpy(out, digest, (size_t)length);
    return 1;
}

/* Hashes a file: file stream -> digest filter -> null stream. */
static int hash_file(const char *path, TEVRA_ErrCtx *ctx) {
    TEVRA_Stream *file = tevra_stream_new_file(path, TEVRA_STREAM_FILE_READ, ctx);
    TEVRA_Stream *sink = tevra_stream_new_null(ctx);
    TEVRA_Stream *md = tevra_stream_new_md(&kSha256, ctx);
    int ok = 0;
    if (file != NULL && sink != NULL && md != NULL && tevra_stream_push(md, sink) == 1) {
        /* The digest filter hashes what is written through it. */
        ok = tevra_stream_writefromstream(md, file, NULL, ctx) == 1 &&
             print_digest(md, path, NULL, ctx);
    }
    if (md != NULL && tevra_stream_next(md) != NULL)
        tevra_stream_freeall(md);
    else {
        tevra_stream_free(md);
        tevra_stream_free(sink);
    }
    tevra_stream_free(file);
    return ok;
}

int main(int argc, char **argv) {
    TEVRA_ErrCtx *ctx = tevra_err_ctx_new();
    int status = 0;
    if (argc < 2) {
        TEVRA_Stream *sink = tevra_stream_new_null(ctx);
        TEVRA_Stream *md = tevra_stream_new_md(&kSha256, ctx);
        unsigned char digest[EVP_MAX_MD_SIZE];
        static const char kExpected[] =
            "\xba\x78\x16\xbf\x8f\x01\xcf\xea\x41\x41\x40\xde\x5d\xae\x22\x23"
            "\xb0\x03\x61\xa3\x96\x17\x7a\x9c\xb4\x10\xff\x61\xf2\x00\x15\xad";
        if (md == NULL || sink == NULL || tevra_stream_push(md, sink) != 1 ||
            tevra_stream_writen(md, "abc", 3, ctx) != 1 ||
            !print_digest(md, "\"abc\"", digest, ctx) || memcmp(digest, kExpected, 32) != 0)
            status = 1;
        if (md != NULL && tevra_stream_next(md) != NULL)
            tevra_stream_freeall(md);
        else {
            tevra_stream_free(md);
            tevra_stream_free(sink);
        }
    } else {
        for (int i = 1; i < argc; ++i)
            if (!hash_file(argv[i], ctx))
                status = 1;
    }
    if (status != 0)
        tevra_err_ctx_print(ctx);
    tevra_err_ctx_free(ctx);
    return status;
}
