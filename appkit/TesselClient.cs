// Copyright (c) 2026 Bramble Electronics. SPDX-License-Identifier: MIT
// The client of Tessel Service for apps in C# 7.3: .NET, .NET Framework and packaged apps. Add this
// file to the app, and ship tesselclient.dll with it. tesselclient.h describes every command.
//
// Every call runs on a thread of the pool, so the thread of the user interface is never blocked. If a
// call is cancelled, or its deadline passes, only the waiting ends. The request goes on: nothing can
// take back a request that was sent.
//
// A call that the service could not do throws TesselException. Where a call does not name a failure,
// the answer cannot show one.
using System;
using System.Runtime.InteropServices;
using System.Threading;
using System.Threading.Tasks;

namespace Tessel
{
    public enum Outcome
    {
        Answered,
        /// <summary>The answer shows that it was not done.</summary>
        NotDone,
        /// <summary>The service never answers this command.</summary>
        NoAnswer,
        /// <summary>A Windows error.</summary>
        Failed,
        /// <summary>The deadline has passed. If the request was sent, it goes on.</summary>
        TimedOut
    }

    public sealed class TesselException : Exception
    {
        internal TesselException(Outcome outcome, uint error, bool sent, string message, int number = 0)
            : base(message)
        {
            Outcome = outcome;
            Error = error;
            Sent = sent;
            Number = number;
        }

        public Outcome Outcome { get; }
        /// <summary>The Windows error of Failed, otherwise 0.</summary>
        public uint Error { get; }
        /// <summary>The service may have carried the request out, or will do it.</summary>
        public bool Sent { get; }
        /// <summary>CreateProfileAsync, error 87: the member of the profile that was refused.</summary>
        public int Number { get; }
    }

    /// <summary>The values of an answer; their meaning depends on the command.</summary>
    public struct Reply
    {
        public bool Flag;
        public int Number;
        public string Text;
    }

    /// <summary>The state of the modem. Off also means that there is no modem.</summary>
    public enum ReadyState { Off, Ready, NoSim, BadSim, Failure, NotActivated, Locked, Blocked, NoEsimProfile }

    public enum Authentication { None, Pap, Chap, MsChapV2, Auto }
    public enum IpType { Default, V4, V6, V4V6, Xlat }
    public enum Compression { Disable, Enable }

    /// <summary>The access point of a mobile connection.</summary>
    public sealed class Profile
    {
        public string Description = "";
        public string AccessString = "";
        public Authentication Authentication;
        /// <summary>Must be empty without authentication, otherwise must not. Password: the same.</summary>
        public string UserName = "";
        public string Password = "";
        public IpType IpType;
        public Compression Compression;
    }

    public sealed class TesselClient
    {
        private const uint NoDeadline = 0xFFFFFFFF;
        private readonly uint deadline = NoDeadline;

        public TesselClient() { }

        /// <summary>Every call ends after this time at the latest, with TimedOut.</summary>
        public TesselClient(TimeSpan deadline)
        {
            if (deadline != Timeout.InfiniteTimeSpan)
            {
                this.deadline = (uint)Math.Min(Math.Max(deadline.TotalMilliseconds, 0), NoDeadline - 1);
            }
        }

        /// <summary>The version of the DLL.</summary>
        public static Version Version
        {
            get
            {
                int version = (int)TesselVersion();
                return new Version(version >> 16, (version >> 8) & 0xFF, version & 0xFF);
            }
        }

        /// <summary>Tests whether the service can be reached and admits this process. Gives 0 or the Windows
        /// error. The other calls do not need it.</summary>
        public static Task<uint> ConnectAsync(CancellationToken cancel = default) =>
            Run(() => TesselConnect(), cancel);

        /// <summary>Closes the connection that the DLL keeps between requests. The next request connects
        /// again.</summary>
        public static Task DisconnectAsync(CancellationToken cancel = default) =>
            Run(() => { TesselDisconnect(); return true; }, cancel);

        /// <summary>Sends any command. The answer's values also show whether it failed.</summary>
        public Task<Reply> RequestAsync(string command, bool flag = false, int number = 0, string text = "",
                                        CancellationToken cancel = default) =>
            Send(command, cancel, flag, number, text);

        /// <summary>Registers the settings app for the pen click, unless something is registered already.
        /// NotDone: it could not be registered.</summary>
        public Task CheckAdditionalPenSettingAsync(CancellationToken cancel = default) =>
            DoneIfFlag("REGISTRYHELPER_CHECKADDTIONALPENSETTING", 0, cancel);

        /// <summary>NotDone: it cannot be read, or it is -1.</summary>
        public Task<int> GetPenSettingAsync(CancellationToken cancel = default) =>
            Number("REGISTRYHELPER_GETPENSETTING", -1, cancel);

        /// <summary>NotDone: it could not be stored.</summary>
        public Task SetPenSettingAsync(int action, CancellationToken cancel = default) =>
            DoneIfFlag("REGISTRYHELPER_SETPENSETTING", action, cancel);

        /// <summary>NotDone: it cannot be read, or it is -100.</summary>
        public Task<int> GetPenClickSettingAsync(CancellationToken cancel = default) =>
            Number("REGISTRYHELPER_GETPENCLICKSETTING", -100, cancel);

        /// <summary>NotDone: it could not be stored.</summary>
        public Task SetPenClickSettingAsync(int action, CancellationToken cancel = default) =>
            DoneIfFlag("REGISTRYHELPER_SETPENCLICKSETTING", action, cancel);

        /// <summary>NotDone: it cannot be read, or it is -1.</summary>
        public Task<int> GetPenPressureSensitivityAsync(CancellationToken cancel = default) =>
            Number("REGISTRYHELPER_GETPENPRESSURESENSITIVITY", -1, cancel);

        /// <summary>The answer does not show whether it was stored: read it.</summary>
        public Task SetPenPressureSensitivityAsync(int threshold,
                                                   CancellationToken cancel = default) =>
            Send("REGISTRYHELPER_SETPENPRESSURESENSITIVITY", cancel, false, threshold);

        /// <summary>99 is the default; it also means that none can be read.</summary>
        public async Task<int> GetScreenModeAsync(CancellationToken cancel = default) =>
            (await Send("REGISTRYHELPER_GETSCREENMODE", cancel).ConfigureAwait(false)).Number;

        /// <summary>NotDone: it could not be stored.</summary>
        public Task SetScreenModeAsync(int mode, CancellationToken cancel = default) =>
            DoneIfFlag("REGISTRYHELPER_SETSCREENMODE", mode, cancel);

        public Task<ReadyState> CheckInterfaceAsync(CancellationToken cancel = default) =>
            State("MBNHELPER_CHECKINTERFACE", cancel);

        public Task<ReadyState> CheckSimStatusAsync(CancellationToken cancel = default) =>
            State("MBNHELPER_CHECKSIMSTATUS", cancel);

        // The identities. Empty: the modem has no such value now. NotDone: none was read.

        public Task<string> GetHomeProviderIdAsync(CancellationToken cancel = default) =>
            Identity("MBNHELPER_GETHOMEPROVIDERID", cancel);

        public Task<string> GetHomeProviderNameAsync(CancellationToken cancel = default) =>
            Identity("MBNHELPER_GETHOMEPROVIDERNAME", cancel);

        public Task<string> GetSubscriberIdAsync(CancellationToken cancel = default) =>
            Identity("MBNHELPER_GETSUBSCRIBERID", cancel);

        public Task<string> GetSimIccIdAsync(CancellationToken cancel = default) =>
            Identity("MBNHELPER_GETSIMICCID", cancel);

        /// <summary>Starts to connect with the profile that CreateProfileAsync has made.</summary>
        public Task ConnectModemAsync(CancellationToken cancel = default) => Send("MBNHELPER_CONNECT", cancel);

        /// <summary>Starts to disconnect.</summary>
        public Task DisconnectModemAsync(CancellationToken cancel = default) => Send("MBNHELPER_DISCONNECT", cancel);

        /// <summary>Replaces all profiles of the modem by this one. Error 87: the service would not keep
        /// everything of it; nothing was sent. The answer does not show whether Windows has created it.</summary>
        public Task CreateProfileAsync(Profile profile, CancellationToken cancel = default)
        {
            // Copied now: the app may change its profile.
            var native = new NativeProfile
            {
                Size = (uint)Marshal.SizeOf(typeof(NativeProfile)),
                Authentication = (int)profile.Authentication,
                IpType = (int)profile.IpType,
                Compression = (int)profile.Compression,
                Description = profile.Description,
                AccessString = profile.AccessString,
                UserName = profile.UserName,
                Password = profile.Password
            };
            return Run(() =>
            {
                RefuseZero(native.Description, native.AccessString, native.UserName, native.Password);
                return Call<string>((ref NativeReply reply) => TesselCreateProfile(ref native, deadline, ref reply),
                                    Text);
            }, cancel);
        }

        /// <summary>Disconnects, then deletes all profiles of the modem, also those of others.</summary>
        public Task DeleteProfileAsync(CancellationToken cancel = default) => Send("MBNHELPER_DELETEPROFILE", cancel);

        /// <summary>Routes the USB port to the modem.</summary>
        public Task ChangeUsbPathToCpAsync(CancellationToken cancel = default) =>
            Send("USBPATHCHANGER_CHANGEUSBPATHTOCP", cancel);

        /// <summary>Routes the USB port back to Windows.</summary>
        public Task ChangeUsbPathToApAsync(CancellationToken cancel = default) =>
            Send("USBPATHCHANGER_CHANGEUSBPATHTOAP", cancel);

        /// <summary>The switch of the control device. false also means that it cannot be read.</summary>
        public async Task<bool> GetBleAsync(CancellationToken cancel = default) =>
            (await Send("BLEHELPER_GETBLE", cancel).ConfigureAwait(false)).Flag;

        /// <summary>The answer does not show whether it was set: read it.</summary>
        public Task SetBleAsync(bool on, CancellationToken cancel = default) => Send("BLEHELPER_SETBLE", cancel, on);

        /// <summary>Whether there is a switch. false also means that the device cannot be asked.</summary>
        public async Task<bool> IsBleSupportAsync(CancellationToken cancel = default) =>
            (await Send("BLEHELPER_ISBLESUPPORT", cancel).ConfigureAwait(false)).Number == 1;

        /// <summary>Whether a file or folder exists. false also means that the service may not examine it.
        /// The path must be ASCII, because the service keeps only eight bits of each character.</summary>
        public async Task<bool> IsFileExistsAsync(string path, CancellationToken cancel = default)
        {
            if (Array.Exists(path.ToCharArray(), unit => unit > 0x7F))
            {
                throw Refused();
            }
            return (await Send("COMMONHELPER_ISFILE_EXISTS", cancel, false, 0, path).ConfigureAwait(false)).Flag;
        }

        /// <summary>The bytes of a file, as far as the service sends them. NotDone: it cannot be opened or is
        /// empty.</summary>
        public Task<byte[]> ReadDocumentAsync(string path, CancellationToken cancel = default) =>
            Read<byte[]>(path, 0, Bytes, cancel);

        /// <summary>The text of a file in UTF-8. NotDone: it cannot be opened, is empty or is not UTF-8.</summary>
        public Task<string> ReadDocumentTextAsync(string path, CancellationToken cancel = default) =>
            Read<string>(path, 1, Text, cancel);

        // The service does nothing for these commands, and answers.

        public Task IsVzwqAsync(CancellationToken cancel = default) => Send("REGISTRYHELPER_ISVZWQ", cancel);

        public Task GetNetworkModeAsync(CancellationToken cancel = default) =>
            Send("MBNHELPER_GETNETWORKMODE", cancel);

        public Task SetNetworkModeAsync(CancellationToken cancel = default) =>
            Send("MBNHELPER_SETNETWORKMODE", cancel);

        public Task GetRecommendProfileAsync(CancellationToken cancel = default) =>
            Send("MBNHELPER_GETRECOMMENDPROFILE", cancel);

        public Task QueryProfileAsync(CancellationToken cancel = default) => Send("MBNHELPER_QEURYPROFILE", cancel);

        public Task UpdateProfileAsync(CancellationToken cancel = default) => Send("MBNHELPER_UPDATEPROFILE", cancel);

        public Task CreateApnDbAsync(CancellationToken cancel = default) => Send("MBNHELPER_CREATEAPNDB", cancel);

        public Task SmGetMuicStatusAsync(CancellationToken cancel = default) =>
            Send("USBPATHCHANGER_SMGETMUICSTATUS", cancel);

        // The structures and functions of the DLL, as tesselclient.h declares them.

        [StructLayout(LayoutKind.Sequential)]
        private struct NativeReply
        {
            public uint Size;
            public int Outcome;
            public uint Error;
            public int Sent;
            public int Flag;
            public int Number;
            public uint TextLength;
            public uint ByteCount;
            public IntPtr Text;
            public IntPtr Bytes;
        }

        [StructLayout(LayoutKind.Sequential, CharSet = CharSet.Unicode)]
        private struct NativeProfile
        {
            public uint Size;
            public int Authentication;
            public int IpType;
            public int Compression;
            public string Description;
            public string AccessString;
            public string UserName;
            public string Password;
        }

        private const string Dll = "tesselclient.dll";

        [DllImport(Dll, ExactSpelling = true)]
        private static extern uint TesselVersion();

        [DllImport(Dll, ExactSpelling = true)]
        private static extern uint TesselConnect();

        [DllImport(Dll, ExactSpelling = true)]
        private static extern void TesselDisconnect();

        [DllImport(Dll, ExactSpelling = true, CharSet = CharSet.Unicode)]
        private static extern int TesselRequest(string command, int flag, int number, string text, uint deadline,
                                                ref NativeReply reply);

        [DllImport(Dll, ExactSpelling = true, CharSet = CharSet.Unicode)]
        private static extern int TesselIdentity(string command, uint deadline, ref NativeReply reply);

        [DllImport(Dll, ExactSpelling = true, CharSet = CharSet.Unicode)]
        private static extern int TesselReadDocument(string path, int utf8, uint deadline, ref NativeReply reply);

        [DllImport(Dll, ExactSpelling = true, CharSet = CharSet.Unicode)]
        private static extern int TesselCreateProfile(ref NativeProfile profile, uint deadline, ref NativeReply reply);

        [DllImport(Dll, ExactSpelling = true)]
        private static extern void TesselFreeReply(ref NativeReply reply);

        [DllImport(Dll, ExactSpelling = true, CharSet = CharSet.Unicode)]
        private static extern void TesselMeaning(int outcome, uint error, [Out] char[] text, uint capacity);

        private delegate void NativeCall(ref NativeReply reply);
        private delegate T Conversion<T>(ref NativeReply reply);

        // Runs a blocking call on a thread of the pool. A cancellation ends the waiting, not the call.
        private static async Task<T> Run<T>(Func<T> call, CancellationToken cancel)
        {
            cancel.ThrowIfCancellationRequested();
            Task<T> request = Task.Run(call);
            var cancelled = new TaskCompletionSource<bool>();
            using (cancel.Register(() => cancelled.TrySetResult(true)))
            {
                if (await Task.WhenAny(request, cancelled.Task).ConfigureAwait(false) != request)
                {
                    // Nobody waits for its exception any more.
                    _ = request.ContinueWith(ended => ended.Exception, TaskContinuationOptions.OnlyOnFaulted);
                    throw new OperationCanceledException(cancel);
                }
            }
            return await request.ConfigureAwait(false);
        }

        // Calls the DLL and converts its reply. Throws if the reply is not an answer.
        private static T Call<T>(NativeCall call, Conversion<T> convert)
        {
            var reply = new NativeReply { Size = (uint)Marshal.SizeOf(typeof(NativeReply)) };
            try
            {
                call(ref reply);
                if (reply.Outcome != (int)Outcome.Answered)
                {
                    throw Failure(reply);
                }
                return convert(ref reply);
            }
            finally
            {
                TesselFreeReply(ref reply);
            }
        }

        private static TesselException Failure(NativeReply reply)
        {
            var text = new char[256];
            TesselMeaning(reply.Outcome, reply.Error, text, (uint)text.Length);
            string message = new string(text, 0, Array.IndexOf(text, '\0'));
            return new TesselException((Outcome)reply.Outcome, reply.Error, reply.Sent != 0, message, reply.Number);
        }

        // ERROR_INVALID_PARAMETER, before anything was sent.
        private static TesselException Refused() =>
            Failure(new NativeReply { Outcome = (int)Outcome.Failed, Error = 87 });

        // The answer is good, and shows that it was not done.
        private static TesselException NotDone() =>
            Failure(new NativeReply { Outcome = (int)Outcome.NotDone, Sent = 1 });

        // The DLL would cut a text at its first U+0000.
        private static void RefuseZero(params string[] texts)
        {
            if (Array.Exists(texts, text => text.IndexOf('\0') >= 0))
            {
                throw Refused();
            }
        }

        private static string Text(ref NativeReply reply) =>
            reply.Text == IntPtr.Zero ? "" : Marshal.PtrToStringUni(reply.Text, (int)reply.TextLength);

        private static byte[] Bytes(ref NativeReply reply)
        {
            var bytes = new byte[reply.ByteCount];
            Marshal.Copy(reply.Bytes, bytes, 0, bytes.Length);
            return bytes;
        }

        private Task<Reply> Send(string command, CancellationToken cancel, bool flag = false, int number = 0,
                                 string text = "")
        {
            NativeCall call = (ref NativeReply reply) =>
                TesselRequest(command, flag ? 1 : 0, number, text, deadline, ref reply);
            Conversion<Reply> convert = (ref NativeReply reply) =>
                new Reply { Flag = reply.Flag != 0, Number = reply.Number, Text = Text(ref reply) };
            return Run(() =>
            {
                RefuseZero(command, text);
                return Call(call, convert);
            }, cancel);
        }

        // The flag of the answer is false if it was not done.
        private async Task DoneIfFlag(string command, int number, CancellationToken cancel)
        {
            if (!(await Send(command, cancel, false, number).ConfigureAwait(false)).Flag)
            {
                throw NotDone();
            }
        }

        // The number of the answer is `failure` if there is none.
        private async Task<int> Number(string command, int failure, CancellationToken cancel)
        {
            int number = (await Send(command, cancel).ConfigureAwait(false)).Number;
            return number != failure ? number : throw NotDone();
        }

        private async Task<ReadyState> State(string command, CancellationToken cancel) =>
            (ReadyState)(await Send(command, cancel).ConfigureAwait(false)).Number;

        private Task<string> Identity(string command, CancellationToken cancel) =>
            Run(() => Call<string>((ref NativeReply reply) => TesselIdentity(command, deadline, ref reply), Text),
                cancel);

        private Task<T> Read<T>(string path, int utf8, Conversion<T> convert, CancellationToken cancel)
        {
            return Run(() =>
            {
                RefuseZero(path);
                return Call((ref NativeReply reply) => TesselReadDocument(path, utf8, deadline, ref reply), convert);
            }, cancel);
        }
    }
}
