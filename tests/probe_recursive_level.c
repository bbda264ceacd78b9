/* Prints the nesting limit the library read from its environment at load. */
#include <stdio.h>

#include "tevra.h"

int main(void) {
    printf("%d\n", tevra_get_recursive_level());
    return 0;
}
