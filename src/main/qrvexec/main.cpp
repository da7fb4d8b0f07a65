// Entry point of qrvexec (placeholder until the run skeleton lands).
int main() { return 0; }
