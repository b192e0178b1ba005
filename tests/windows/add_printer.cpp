// Adds a printer that uses wine's PostScript driver, and makes it the default printer:
//     add_printer NAME PORT PPD
// A port that starts with a slash is a file, which receives the documents. With the name alone, the
// printer is removed.
#include <windows.h>
#include <winspool.h>

#include <cstdio>

static int fail(const char *step) {
    std::fprintf(stderr, "%s: error %lu\n", step, GetLastError());
    return 1;
}

int main(int argc, char **argv) {
    if (argc == 2) {
        HANDLE printer = nullptr;
        PRINTER_DEFAULTSA access = {};
        access.DesiredAccess = PRINTER_ALL_ACCESS;
        return OpenPrinterA(argv[1], &printer, &access) && DeletePrinter(printer)
                   ? 0
                   : fail("removing");
    }
    if (argc != 4)
        return 2;
    char driver_name[] = "VIQ test", environment[] = "Windows NT x86", library[] = "wineps.drv",
         processor[] = "WinPrint", data_type[] = "RAW";
    DRIVER_INFO_3A driver = {};
    driver.cVersion = 3;
    driver.pName = driver_name;
    driver.pEnvironment = environment;
    driver.pDriverPath = library;
    driver.pConfigFile = library;
    driver.pDataFile = argv[3];
    driver.pDefaultDataType = data_type;
    if (!AddPrinterDriverExA(nullptr, 3, reinterpret_cast<BYTE *>(&driver),
                             APD_COPY_NEW_FILES | APD_COPY_FROM_DIRECTORY))
        return fail("driver");
    PRINTER_INFO_2A printer = {};
    printer.pPrinterName = argv[1];
    printer.pPortName = argv[2];
    printer.pDriverName = driver_name;
    printer.pPrintProcessor = processor;
    printer.pDatatype = data_type;
    const HANDLE added = AddPrinterA(nullptr, 2, reinterpret_cast<BYTE *>(&printer));
    if (added == nullptr)
        return fail("printer");
    ClosePrinter(added);
    return SetDefaultPrinterA(argv[1]) ? 0 : fail("default printer");
}
