// A small P/Invoke wrapper over the vantoconnect C API (vantoconnect/vanto.h), enough to print a
// receipt, hear its delivery report, withdraw a waiting one and read the cash drawer from .NET,
// with the library's lines in a log of the program's choosing. It is an example of how to call
// the library, not a second SDK: every method is one C call, and the C API's rules (profiles,
// threads, ownership, what stays fatal) are the ones in vanto.h.
//
// The runtime finds the library as "vantoconnect-c" (libvantoconnect-c.so): put its folder on
// LD_LIBRARY_PATH, or next to the program.

using System;
using System.Collections.Generic;
using System.Runtime.InteropServices;
using System.Text;

namespace VantoConnect
{
    public enum Status
    {
        Ok = 0,
        Invalid = 1,
        Unit = 2,
        PrinterNotResponding = 3,
        NotDelivered = 4,
        Timeout = 5,
        IO = 6,
        Fatal = 7,
        NoMemory = 8,
        Internal = 9,
        ConnectionLost = 10,  // resilient: the unit closed, reset or fell silent before answering
        Cancelled = 11,       // resilient: withdrawn (Cancel, or the unit disposed) before it was sent
    }

    // Resilient is every binding's default: time limits on every wait, failures as exceptions
    // and reports, never the end of the process. Classic is the C++ library's classic behaviour,
    // hazards included (see docs/c.md).
    public enum Profile
    {
        Resilient = 0,
        Classic = 1,
    }

    // A failed call: the status and the library's one-line reason.
    public sealed class VantoException : Exception
    {
        public Status Status { get; }

        public VantoException(Status status, string message) : base(message)
        {
            Status = status;
        }
    }

    // vanto_delivery_report, field for field.
    [StructLayout(LayoutKind.Sequential)]
    public struct DeliveryReport
    {
        public UIntPtr StructSize;  // how far the library filled it
        public ulong ReceiptId;
        public long PacketsSent;
        public long PacketsAcknowledged;
        public long PacketsRefused;
        public long PacketsUnrecognised;
        public long PacketsUnanswered;  // went out and no answer came: they may have printed
        public long PacketsNotSent;
        public int EndOfJobSent;
        public int AllAcknowledged;  // 1 only when every packet was acknowledged
        public int Cancelled;        // 1 when withdrawn before any of it was sent

        // An empty report the library may fill, as VANTO_DELIVERY_REPORT_INIT makes it.
        public static DeliveryReport Empty()
        {
            return new DeliveryReport { StructSize = Native.SizeOf<DeliveryReport>() };
        }
    }

    // How a Unit is made: vanto_options. The limits and the log apply to the resilient profile.
    public sealed class UnitOptions
    {
        public Profile Profile = Profile.Resilient;
        public string Address = "";  // "": the unit's own address on its Wi-Fi network
        public int Port = 8080;
        public long ConnectTimeoutMs = 3000;
        public long ReadTimeoutMs = 5000;
        public long WaitLimitMs = 60000;  // how long a receipt may wait for a busy printer
        // The library's lines, one call each, on its own threads (resilient only; the classic
        // profile writes them to standard output). It must not call the library.
        public Action<string> Log;
    }

    public static class Text
    {
        public const long StyleNone = 0, StyleBold = 1, StyleItalic = 2, StyleUnderlined = 4,
                          StyleInverse = 8;
        public const long SizeNormal = 0, SizeWide = 1;
        public const long Left = 0, Center = 1, Right = 2;
    }

    public static class Barcode
    {
        public const long Upca = 0, Code39 = 1, Pdf417 = 2;
        public const long HriNone = 0, HriAbove = 1, HriBelow = 2, HriBoth = 3;
        public const double DefaultHeight = 54.0 / 154.0;
    }

    public enum DrawerStatus : long
    {
        Opened = 0,
        Closed = 1,
    }

    internal static class Native
    {
        private const string Library = "vantoconnect-c";

        [StructLayout(LayoutKind.Sequential)]
        internal struct Callbacks
        {
            public UIntPtr StructSize;
            public IntPtr User;
            public IntPtr OnStarted;
            public IntPtr OnCompleted;
            public IntPtr OnError;
            public IntPtr OnReport;
        }

        [StructLayout(LayoutKind.Sequential)]
        internal struct Options
        {
            public UIntPtr StructSize;
            public int Profile;
            public int Port;
            public IntPtr Address;
            public long ConnectTimeoutMs;
            public long ReadTimeoutMs;
            public long WaitLimitMs;
            public IntPtr Log;
            public IntPtr LogUser;
        }

        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void ReportCallback(IntPtr user, ref DeliveryReport report);

        [UnmanagedFunctionPointer(CallingConvention.Cdecl)]
        internal delegate void LineCallback(IntPtr user, IntPtr line);

        [DllImport(Library)] internal static extern IntPtr vanto_last_error();
        [DllImport(Library)] internal static extern void vanto_string_free(IntPtr text);
        [DllImport(Library)] internal static extern Status vanto_create_with(ref Options options, out IntPtr vanto);
        [DllImport(Library)] internal static extern Status vanto_profile(IntPtr vanto, out int profile);
        [DllImport(Library)] internal static extern Status vanto_cancel(IntPtr vanto, ulong receiptId, out int cancelled);
        [DllImport(Library)] internal static extern Status vanto_waiting_receipts(IntPtr vanto, out UIntPtr waiting);
        [DllImport(Library)] internal static extern void vanto_free(IntPtr vanto);
        [DllImport(Library)] internal static extern Status vanto_set_address(IntPtr vanto, byte[] address);
        [DllImport(Library)] internal static extern Status vanto_set_port(IntPtr vanto, int port);
        [DllImport(Library)] internal static extern Status vanto_cash_drawer_status(IntPtr vanto, out long status);
        [DllImport(Library)] internal static extern Status vanto_open_cash_drawer(IntPtr vanto, int validate, out int pulseSent);
        [DllImport(Library)] internal static extern Status vanto_print(IntPtr vanto, IntPtr receipt, ref Callbacks callbacks, out ulong receiptId);
        [DllImport(Library)] internal static extern Status vanto_print_and_wait(IntPtr vanto, IntPtr receipt, long timeoutMs, ref DeliveryReport report);
        [DllImport(Library)] internal static extern Status vanto_delivery_report_summary(ref DeliveryReport report, out IntPtr summary);
        [DllImport(Library)] internal static extern Status vanto_receipt_create(out IntPtr receipt);
        [DllImport(Library)] internal static extern void vanto_receipt_free(IntPtr receipt);
        [DllImport(Library)] internal static extern Status vanto_receipt_add_text(IntPtr receipt, byte[] text, long style, long size, long position);
        [DllImport(Library)] internal static extern Status vanto_receipt_add_price(IntPtr receipt, byte[] left, long leftStyle, byte[] right, long rightStyle);
        [DllImport(Library)] internal static extern Status vanto_receipt_add_separator(IntPtr receipt, byte[] chr);
        [DllImport(Library)] internal static extern Status vanto_receipt_add_feed(IntPtr receipt, long lines);
        [DllImport(Library)] internal static extern Status vanto_receipt_add_barcode(IntPtr receipt, long type, byte[] data, long hri, double height);

        // What a struct's size field holds: the struct's size as C lays it out.
        internal static UIntPtr SizeOf<T>()
        {
            return (UIntPtr)Marshal.SizeOf(typeof(T));
        }

        // Strings go to C as NUL-terminated UTF-8, whatever the platform's default marshalling.
        internal static byte[] Utf8(string text)
        {
            return Encoding.UTF8.GetBytes(text + "\0");
        }

        // A NUL-terminated UTF-8 string from C.
        internal static string FromUtf8(IntPtr text)
        {
            if (text == IntPtr.Zero)
            {
                return "";
            }
            var bytes = new List<byte>();
            for (int i = 0; ; i++)
            {
                byte b = Marshal.ReadByte(text, i);
                if (b == 0)
                {
                    break;
                }
                bytes.Add(b);
            }
            return Encoding.UTF8.GetString(bytes.ToArray());
        }

        internal static void Check(Status status)
        {
            if (status != Status.Ok)
            {
                throw new VantoException(status, FromUtf8(vanto_last_error()));
            }
        }
    }

    // A receipt; every line is checked by the library as it is added.
    public sealed class Receipt : IDisposable
    {
        internal IntPtr Handle;

        public Receipt()
        {
            Native.Check(Native.vanto_receipt_create(out Handle));
        }

        public Receipt AddText(string text, long style = Text.StyleNone,
                               long size = Text.SizeNormal, long position = Text.Left)
        {
            Native.Check(Native.vanto_receipt_add_text(Handle, Native.Utf8(text), style, size, position));
            return this;
        }

        public Receipt AddPrice(string left, string right, long leftStyle = Text.StyleNone,
                                long rightStyle = Text.StyleNone)
        {
            Native.Check(Native.vanto_receipt_add_price(Handle, Native.Utf8(left), leftStyle,
                                                        Native.Utf8(right), rightStyle));
            return this;
        }

        public Receipt AddSeparator(string chr = "-")
        {
            Native.Check(Native.vanto_receipt_add_separator(Handle, Native.Utf8(chr)));
            return this;
        }

        public Receipt AddFeed(long lines)
        {
            Native.Check(Native.vanto_receipt_add_feed(Handle, lines));
            return this;
        }

        public Receipt AddBarcode(string data, long type = Barcode.Upca, long hri = Barcode.HriBelow,
                                  double height = Barcode.DefaultHeight)
        {
            Native.Check(Native.vanto_receipt_add_barcode(Handle, type, Native.Utf8(data), hri, height));
            return this;
        }

        public void Dispose()
        {
            Native.vanto_receipt_free(Handle);
            Handle = IntPtr.Zero;
        }
    }

    // The unit. Blocking calls hold the calling thread while the unit is asked (resilient: within
    // the options' limits; classic: for minutes, or for ever): call them off the user-interface
    // thread.
    public sealed class Unit : IDisposable
    {
        private IntPtr handle;
        // The log, kept alive for the library until Dispose has freed the facade.
        private GCHandle log;

        // The delegates the library calls, kept alive for the process: the library may call them
        // long after Print has returned.
        private static readonly Native.ReportCallback reportCallback = OnReport;
        private static readonly Native.LineCallback lineCallback = OnLine;

        // The resilient profile with its default limits.
        public Unit(string address, int port) : this(new UnitOptions { Address = address, Port = port })
        {
        }

        public Unit(UnitOptions options)
        {
            var native = new Native.Options
            {
                StructSize = Native.SizeOf<Native.Options>(),
                Profile = (int)options.Profile,
                Port = options.Port,
                ConnectTimeoutMs = options.ConnectTimeoutMs,
                ReadTimeoutMs = options.ReadTimeoutMs,
                WaitLimitMs = options.WaitLimitMs,
            };
            if (options.Log != null)
            {
                log = GCHandle.Alloc(options.Log);
                native.Log = Marshal.GetFunctionPointerForDelegate(lineCallback);
                native.LogUser = GCHandle.ToIntPtr(log);
            }
            // The library copies the address; the copy here lives only through the call.
            byte[] address = Native.Utf8(options.Address ?? "");
            GCHandle pinned = GCHandle.Alloc(address, GCHandleType.Pinned);
            try
            {
                native.Address = pinned.AddrOfPinnedObject();
                Native.Check(Native.vanto_create_with(ref native, out handle));
            }
            catch
            {
                if (log.IsAllocated)
                {
                    log.Free();
                }
                throw;
            }
            finally
            {
                pinned.Free();
            }
        }

        public Profile Profile
        {
            get
            {
                Native.Check(Native.vanto_profile(handle, out int profile));
                return (Profile)profile;
            }
        }

        public DrawerStatus CashDrawerStatus()
        {
            Native.Check(Native.vanto_cash_drawer_status(handle, out long status));
            return (DrawerStatus)status;
        }

        // True when the open pulse was queued: nothing confirms that it reached the unit or that
        // the drawer moved (read CashDrawerStatus again to know).
        public bool OpenCashDrawer(bool validate = true)
        {
            Native.Check(Native.vanto_open_cash_drawer(handle, validate ? 1 : 0, out int sent));
            return sent != 0;
        }

        // Queues the receipt; onReport runs later on one of the library's threads, once, with
        // the receipt's delivery report (for a cancelled receipt, on the thread that cancelled
        // it). Returns the receipt id the report will carry.
        public ulong Print(Receipt receipt, Action<DeliveryReport> onReport)
        {
            // The user pointer keeps onReport alive until the report has come.
            GCHandle user = GCHandle.Alloc(onReport);
            var callbacks = new Native.Callbacks
            {
                StructSize = Native.SizeOf<Native.Callbacks>(),
                User = GCHandle.ToIntPtr(user),
                OnReport = Marshal.GetFunctionPointerForDelegate(reportCallback),
            };
            Status status = Native.vanto_print(handle, receipt.Handle, ref callbacks, out ulong id);
            if (status != Status.Ok)
            {
                user.Free();
                Native.Check(status);
            }
            return id;
        }

        // Queues the receipt and waits for its report. Throws with Status.NotDelivered when the
        // unit did not acknowledge every packet, PrinterNotResponding when the queue gave up,
        // and (resilient) ConnectionLost when an answer was lost while it was sent, Cancelled
        // when another thread withdrew it.
        public DeliveryReport PrintAndWait(Receipt receipt, long timeoutMs)
        {
            DeliveryReport report = DeliveryReport.Empty();
            Native.Check(Native.vanto_print_and_wait(handle, receipt.Handle, timeoutMs, ref report));
            return report;
        }

        // Resilient: withdraws a receipt still waiting to be sent; its report (Cancelled = 1)
        // has come by the time this returns true. Classic: always false.
        public bool Cancel(ulong receiptId)
        {
            Native.Check(Native.vanto_cancel(handle, receiptId, out int cancelled));
            return cancelled != 0;
        }

        public ulong WaitingReceipts()
        {
            Native.Check(Native.vanto_waiting_receipts(handle, out UIntPtr waiting));
            return (ulong)waiting;
        }

        public static string Summary(DeliveryReport report)
        {
            Native.Check(Native.vanto_delivery_report_summary(ref report, out IntPtr text));
            try
            {
                return Native.FromUtf8(text);
            }
            finally
            {
                Native.vanto_string_free(text);
            }
        }

        private static void OnReport(IntPtr user, ref DeliveryReport report)
        {
            GCHandle handle = GCHandle.FromIntPtr(user);
            var onReport = (Action<DeliveryReport>)handle.Target;
            handle.Free();  // the report is the receipt's last call
            // An exception must not go back into the library's thread: it would end the process.
            try
            {
                onReport(report);
            }
            catch (Exception e)
            {
                Console.Error.WriteLine("report callback failed: " + e);
            }
        }

        private static void OnLine(IntPtr user, IntPtr line)
        {
            var log = (Action<string>)GCHandle.FromIntPtr(user).Target;
            try
            {
                log(Native.FromUtf8(line));
            }
            catch (Exception e)
            {
                Console.Error.WriteLine("log failed: " + e);
            }
        }

        // Resilient: receipts still waiting are withdrawn (their reports come before this
        // returns), and no line comes to the log afterwards.
        public void Dispose()
        {
            Native.vanto_free(handle);
            handle = IntPtr.Zero;
            if (log.IsAllocated)
            {
                log.Free();
            }
        }
    }
}
