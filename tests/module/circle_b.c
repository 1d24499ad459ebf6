/* Needs circle_a.c, which needs this. */
void circle_b(void);
void circle_a(void);

void circle_b(void) { circle_a(); }
