// Calls everything of TesselClient.cs, and prints what it gives.
using System;
using System.Threading;
using System.Threading.Tasks;
using Tessel;

// As on the thread of a user interface: nothing of the kit may come back to it by itself.
internal sealed class BlockedInterface : SynchronizationContext
{
    public override void Post(SendOrPostCallback callback, object state)
    {
        Console.WriteLine("posted to the thread of the user interface");
    }
}

internal static class KitTest
{
    private static string Show(Func<Task> call)
    {
        try
        {
            Task task = call();
            task.Wait();
            var result = task.GetType().GetProperty("Result");
            object value = result.GetValue(task);
            return value is byte[] ? BitConverter.ToString((byte[])value)
                : value is int || value is uint || value is bool || value is string || value is Enum ? value.ToString()
                : "done";
        }
        catch (AggregateException failure)
        {
            var refused = failure.InnerException as TesselException;
            return refused == null
                ? failure.InnerException.GetType().Name
                : $"{refused.Outcome} {refused.Error} {refused.Sent} {refused.Number} \"{refused.Message}\"";
        }
    }

    private static void Print(Func<Task> call) => Console.WriteLine("= " + Show(call));

    private static async Task<string> Answer(TesselClient client)
    {
        Reply reply = await client.RequestAsync("ANY", true, -5, "\u00e9b").ConfigureAwait(false);
        return $"{reply.Flag} {reply.Number} {reply.Text == "a\U0001F600\0b"}";
    }

    private static void Main()
    {
        SynchronizationContext.SetSynchronizationContext(new BlockedInterface());
        var client = new TesselClient();
        var soon = new TesselClient(TimeSpan.FromSeconds(2));
        Console.WriteLine(TesselClient.Version);
        Print(() => Answer(client));
        Print(() => soon.RequestAsync("OUTCOME", false, 4));
        Print(() => client.RequestAsync("OUTCOME", false, 3));
        Print(() => client.RequestAsync("OUTCOME", false, 2));
        Print(() => client.RequestAsync("A\0B"));
        Print(() => client.CheckAdditionalPenSettingAsync());
        Print(() => client.GetPenSettingAsync());
        Print(() => client.SetPenSettingAsync(2));
        Print(() => client.GetPenClickSettingAsync());
        Print(() => client.SetPenClickSettingAsync(3));
        Print(() => client.GetPenPressureSensitivityAsync());
        Print(() => client.SetPenPressureSensitivityAsync(4));
        Print(() => client.GetScreenModeAsync());
        Print(() => client.SetScreenModeAsync(5));
        Print(() => client.CheckInterfaceAsync());
        Print(() => client.CheckSimStatusAsync());
        Print(() => soon.GetHomeProviderIdAsync());
        Print(() => client.GetHomeProviderNameAsync());
        Print(() => client.GetSubscriberIdAsync());
        Print(() => client.GetSimIccIdAsync());
        Print(() => client.ConnectModemAsync());
        Print(() => client.DisconnectModemAsync());
        var profile = new Profile { Description = "name", AccessString = "apn" };
        Print(() => client.CreateProfileAsync(profile));
        profile.Authentication = Authentication.Auto;
        profile.UserName = "user";
        profile.Password = "word";
        profile.IpType = IpType.Xlat;
        profile.Compression = Compression.Enable;
        Print(() => soon.CreateProfileAsync(profile));
        Print(() => client.DeleteProfileAsync());
        Print(() => client.ChangeUsbPathToCpAsync());
        Print(() => client.ChangeUsbPathToApAsync());
        Print(() => client.GetBleAsync());
        Print(() => client.SetBleAsync(true));
        Print(() => client.IsBleSupportAsync());
        Print(() => client.IsFileExistsAsync("C:\\a"));
        Print(() => client.IsFileExistsAsync("C:\\\u00e9"));
        Print(() => client.ReadDocumentAsync("C:\\b"));
        Print(() => soon.ReadDocumentTextAsync("C:\\c"));
        Print(() => client.IsVzwqAsync());
        Print(() => client.GetNetworkModeAsync());
        Print(() => client.SetNetworkModeAsync());
        Print(() => client.GetRecommendProfileAsync());
        Print(() => client.QueryProfileAsync());
        Print(() => client.UpdateProfileAsync());
        Print(() => client.CreateApnDbAsync());
        Print(() => client.SmGetMuicStatusAsync());

        // A cancellation ends the waiting and not the request, which goes on until the disconnection.
        var cancel = new CancellationTokenSource();
        Task<Reply> slow = client.RequestAsync("SLOW", cancel: cancel.Token);
        cancel.CancelAfter(100);
        Print(() => slow);
        Print(() => client.RequestAsync("NEVER SENT", cancel: cancel.Token));
        Console.WriteLine("not given back: " + TesselClient.ConnectAsync().Result);
        Print(() => TesselClient.DisconnectAsync());
        for (int i = 0; i < 100 && TesselClient.ConnectAsync().Result != 0; ++i)
        {
            Thread.Sleep(100);
        }
        Print(() => TesselClient.ConnectAsync());
    }
}
