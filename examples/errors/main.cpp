// The error-handling example program: the inventory component and its
// caller (inventory.cpp).
#include "inventory.h"

int main() { return RunInventoryExample(); }
