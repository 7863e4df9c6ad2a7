// Prints a receipt and reads the cash drawer through the C API, from .NET.
//
//   mono PrintReceipt.exe [ADDRESS [PORT [PROFILE]]]
//
// ADDRESS and PORT default to 127.0.0.1 and 8080 (an emulated unit started with `vanto
// emulate`). PROFILE is "resilient", the default, or "classic" for the C++ library's classic
// behaviour, hazards included.
//
// Exit status 0 only when the unit acknowledged every packet of the receipt.

using System;
using System.Threading;
using VantoConnect;

public static class PrintReceipt
{
    public static int Main(string[] args)
    {
        var options = new UnitOptions
        {
            Address = args.Length > 0 ? args[0] : "127.0.0.1",
            Port = args.Length > 1 ? int.Parse(args[1]) : 8080,
        };
        string profile = args.Length > 2 ? args[2] : "resilient";
        if (profile == "classic")
        {
            // Its lines go to standard output; it takes no log.
            options.Profile = Profile.Classic;
        }
        else if (profile == "resilient")
        {
            // The library's lines, kept apart from the program's own output.
            options.Log = line => Console.Error.WriteLine("vanto: " + line);
        }
        else
        {
            Console.Error.WriteLine("profile: \"" + profile + "\" is neither resilient nor classic");
            return 2;
        }
        try
        {
            using (var unit = new Unit(options))
            using (var receipt = new Receipt())
            {
                receipt.AddText("CORNER CAFE", Text.StyleBold, Text.SizeWide, Text.Center)
                    .AddText("12 Harbour Street", Text.StyleNone, Text.SizeNormal, Text.Center)
                    .AddSeparator("=")
                    .AddPrice("Flat white", "3.20")
                    .AddPrice("Croissant", "2.50")
                    .AddPrice("TOTAL", "5.70", Text.StyleBold, Text.StyleBold)
                    .AddBarcode("CAFE-0042", Barcode.Code39);

                // The report arrives on a library thread; hand it over to this one.
                DeliveryReport report = default(DeliveryReport);
                var arrived = new ManualResetEvent(false);
                ulong id = unit.Print(receipt, r =>
                {
                    report = r;
                    arrived.Set();
                });
                if (!arrived.WaitOne(TimeSpan.FromMinutes(2)))
                {
                    Console.Error.WriteLine("receipt " + id + ": no report within 2 minutes");
                    return 1;
                }
                if (report.AllAcknowledged == 0)
                {
                    Console.Error.WriteLine("receipt " + id + " not delivered in full: " +
                                            Unit.Summary(report));
                    return 1;
                }
                Console.WriteLine("receipt " + id + " delivered: " + Unit.Summary(report));

                DrawerStatus drawer = unit.CashDrawerStatus();
                Console.WriteLine("cash drawer: " + (drawer == DrawerStatus.Closed ? "closed" : "open"));
                return 0;
            }
        }
        catch (VantoException e)
        {
            Console.Error.WriteLine(e.Status + ": " + e.Message);
            return e.Status == Status.Invalid ? 2 : 1;
        }
    }
}
