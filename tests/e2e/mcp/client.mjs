// An MCP client as AI applications use it: starts pictavia-mcp (the first argument) over
// stdio with a client's bare environment, runs the protocol's housekeeping and the tool
// calls given as a JSON array of {name, arguments} (the second argument), and prints what
// came back as one JSON object. An argument written "$last_id" stands for the "id" of the
// latest earlier result that had one (a capture the client made). An entry {"wait": S}
// instead of a call lets S seconds pass.
import { Client } from "@modelcontextprotocol/sdk/client/index.js";
import { StdioClientTransport } from "@modelcontextprotocol/sdk/client/stdio.js";

const transport = new StdioClientTransport({
  command: process.argv[2],
  env: { HOME: process.env.HOME, PATH: process.env.PATH, USER: "tester" },
  stderr: "inherit",
});
const calls = JSON.parse(process.argv[3] ?? "[]");
const client = new Client({ name: "claude-code", version: "1.0.0" });
const report = {};
try {
  await client.connect(transport);
  report.server = client.getServerVersion();
  report.capabilities = client.getServerCapabilities();
  report.instructions = client.getInstructions();
  report.ping = await client.ping();
  report.tools = await client.listTools();
  report.calls = [];
  let lastId;
  for (const call of calls) {
    if (typeof call.wait === "number") {
      await new Promise((resolve) => setTimeout(resolve, call.wait * 1000));
      continue;
    }
    const args = Object.fromEntries(
      Object.entries(call.arguments ?? {}).map(([key, value]) => [key, value === "$last_id" ? lastId : value]));
    const result = await client.callTool({ ...call, arguments: args });
    report.calls.push(result);
    try {
      const fields = JSON.parse(result.content?.[0]?.text ?? "");
      if (typeof fields.id === "string") lastId = fields.id;
    } catch {}
  }
  report.resources = await client.listResources();
  report.prompts = await client.listPrompts();
} catch (error) {
  report.error = String(error);
}
await client.close();
console.log(JSON.stringify(report));
