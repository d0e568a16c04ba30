// The floor of a start: nothing, linked to the libraries of the program.

int main() {}
