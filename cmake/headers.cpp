// The file of the targets whose headers are read ahead.
int main() { return 0; }
