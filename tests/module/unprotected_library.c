/* A library built without any protection: what the check of the build must find wanting. */
int unprotected_answer(char *out, int in);

/* An address in the code takes a relocation there. */
__asm__(".text\n.quad unprotected_answer\n");

int unprotected_answer(char *out, int in) {
    char room[64];
    for (int i = 0; i < in; ++i) {
        room[i % 64] = (char)in;
    }
    *out = room[0];
    return in;
}
