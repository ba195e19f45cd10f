// The server's events, each record once, across lost connections and restarts of the server.

const shortestPause = 250;
const longestPause = 4000;

export class Feed {
  #on;
  #cursor = "0";
  #newestRequest = null;
  #newestRecord = 0;
  #failures = 0;

  /// `on` has record(object), request(object), state("connecting" | "live" | "lost"), and forgotten(): the server
  /// that answers now does not have the earlier records.
  constructor(on) {
    this.#on = on;
  }

  open() {
    const source = new EventSource(`/_events?since=${encodeURIComponent(this.#cursor)}`);
    source.onopen = () => {
      this.#failures = 0;
      this.#on.state("live");
    };
    source.addEventListener("record", (event) => {
      const record = this.#take(event);
      if (record.id <= this.#newestRecord) return;
      this.#newestRecord = record.id;
      this.#on.record(record);
    });
    source.addEventListener("request", (event) => {
      const request = this.#take(event);
      if (request.id <= (this.#newestRequest?.id ?? 0)) return;
      this.#newestRequest = request;
      this.#on.request(request);
    });
    // A browser gives up after some failures, and waits long after others. So each failure closes this source, and a new
    // one continues at the cursor.
    source.onerror = () => {
      source.close();
      this.#retry();
    };
  }

  #take(event) {
    if (event.lastEventId) this.#cursor = event.lastEventId;
    return JSON.parse(event.data);
  }

  #retry() {
    this.#on.state("lost");
    const pause = Math.min(longestPause, shortestPause * 2 ** this.#failures++);
    setTimeout(async () => {
      try {
        if (!(await this.#isKnownServer())) {
          this.#cursor = "0";
          this.#newestRequest = null;
          this.#newestRecord = 0;
          this.#on.forgotten();
        }
        this.open();
      } catch {
        this.#retry();
      }
    }, pause);
  }

  /// False when the server does not have the newest request that it sent: it has another database.
  async #isKnownServer() {
    const known = this.#newestRequest;
    if (!known) return true;
    const answer = await fetch(`/_requests?since=${known.id - 1}&limit=1`);
    if (!answer.ok) throw new Error(`the server answered ${answer.status}`);
    const [kept] = await answer.json();
    return kept?.id === known.id && kept.time === known.time;
  }
}
