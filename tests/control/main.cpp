#include "../QtTestMain.h"

int main(int argc, char** argv) {
    return marovin::test::RunQtTests(argc, argv, "MarovinControlTests");
}
