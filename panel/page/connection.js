// Requests with the token, and the stream of frames, which is opened again when it
// ends. A stream that says nothing for three of its comments counts as lost.

const silence = 15000;  // ms
const firstWait = 500;  // ms, doubled up to
const longestWait = 10000;

// What the panel refused: its status and its sentence.
export class CRefusal extends Error {
  constructor(status, sentence) {
    super(sentence);
    this.status = status;
  }
}

export class CConnection {
  constructor(token) {
    this.token = token;
    this.state = "opening";  // "live", "lost" (then `retry` says when it is tried again), "refused", "closed"
    this.heard = 0;          // ms of the page's clock, when something came last
    this.retry = 0;
    this.why = "";
  }

  async request(path, options = {}) {
    const answer = await fetch(path, {
      cache: "no-store", credentials: "omit", ...options, headers: { "Loopbox-Token": this.token, ...options.headers },
    });
    if (answer.ok) return answer;
    let sentence = answer.status + " " + answer.statusText;
    try {
      sentence = (await answer.json()).error || sentence;
    } catch {
      // Not the panel's own answer: its status tells it.
    }
    throw new CRefusal(answer.status, sentence);
  }

  async get(path) {
    return (await this.request(path)).json();
  }

  async text(path, signal) {
    return (await this.request(path, { signal })).text();
  }

  async post(path, body) {
    const options = { method: "POST", headers: { "Content-Type": "application/json" }, body: JSON.stringify(body) };
    return (await this.request(path, options)).json();
  }

  // Hands each event of the stream over, for ever; `onState` is told of each change.
  async listen(onEvent, onState) {
    let wait = firstWait;
    const become = (state, why = "") => {
      this.state = state;
      this.why = why;
      onState();
    };
    for (;;) {
      try {
        await this.read((name, data) => {
          wait = firstWait;
          if (this.state !== "live") become("live");
          onEvent(name, data);
        });
        this.why = "";
      } catch (error) {
        if (error instanceof CRefusal && error.status === 401) return become("refused", error.message);
        this.why = error instanceof CRefusal ? error.message : "";
      }
      if (this.state === "closed") return undefined;
      this.retry = performance.now() + wait;
      become("lost", this.why);
      await new Promise((done) => setTimeout(done, wait * (0.8 + 0.4 * Math.random())));
      wait = Math.min(longestWait, 2 * wait);
    }
  }

  async read(onEvent) {
    const stop = new AbortController();
    let watch = 0;
    const awake = () => {
      this.heard = performance.now();
      clearTimeout(watch);
      watch = setTimeout(() => stop.abort(), silence);
    };
    awake();
    try {
      const answer = await this.request("/stream", { signal: stop.signal });
      const reader = answer.body.pipeThrough(new TextDecoderStream()).getReader();
      let rest = "";
      for (;;) {
        const { done, value } = await reader.read();
        if (done) return;
        awake();
        const blocks = (rest + value).split("\n\n");
        rest = blocks.pop();
        for (const block of blocks) this.dispatch(block, onEvent);
      }
    } finally {
      clearTimeout(watch);
    }
  }

  dispatch(block, onEvent) {
    let name = "message";
    let data = "";
    for (const line of block.split("\n")) {
      if (line.startsWith("event:")) name = line.slice(6).trim();
      else if (line.startsWith("data:")) data += line.slice(5);
    }
    if (data) onEvent(name, JSON.parse(data));
  }
}
