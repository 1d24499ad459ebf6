/* Needs circle_b.c, which needs this. */
void circle_a(void);
void circle_b(void);

void circle_a(void) { circle_b(); }
