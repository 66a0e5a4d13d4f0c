// The program of a block that defines no main() of its own.
int main()
{
    return 0;
}
