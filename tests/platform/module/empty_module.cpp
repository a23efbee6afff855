// Nothing: only where it is loaded from counts.
extern "C" int EmptyModule()
{
    return 0;
}
